// Showing the library's description of the records.
#include "recordlist.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace tool {

namespace {

struct KindName {
    KivFieldKind kind;
    const char*  name;
};

constexpr KindName kKinds[] = {{KivFieldKind::Unsigned, "unsigned"},
                               {KivFieldKind::Signed, "signed"},
                               {KivFieldKind::Text, "text"},
                               {KivFieldKind::Record, "record"}};

struct OrderName {
    KivFieldOrder order;
    const char*   name;
};

constexpr OrderName kOrders[] = {{KivFieldOrder::Network, "network"},
                                 {KivFieldOrder::Sender, "sender"},
                                 {KivFieldOrder::NetworkLow16, "low16"}};

const char* KindOf(const KivRecordField& field) {
    return std::ranges::find(kKinds, field.kind, &KindName::kind)->name;
}

bool IsNumber(const KivRecordField& field) {
    return field.kind == KivFieldKind::Unsigned || field.kind == KivFieldKind::Signed;
}

// Of a number that has more bytes than one: there is nothing to be ordered in any other field.
const char* OrderOf(const KivRecordField& field) {
    if (!IsNumber(field) || field.width == 1) return "-";
    return std::ranges::find(kOrders, field.order, &OrderName::order)->name;
}

std::string NameOf(const KivRecordField& field) {
    std::string name = field.name;
    if (field.count > 1) name += '[' + std::to_string(field.count) + ']';
    if (field.record != nullptr) name += std::string("  ") + field.record->name;
    return name;
}

template <class... Cell> std::string Line(const char* format, Cell... cells) {
    char line[256];
    std::snprintf(line, sizeof line, format, cells...);
    return line;
}

void AppendFieldLines(std::string& table, const KivRecordType& type, int start, int depth) {
    for (const KivRecordField& field : type.fields) {
        table += Line("%6d  %6d  %-8s  %-7s  %*s%s\n", start + field.offset, field.width * field.count,
                      KindOf(field), OrderOf(field), 2 * depth, "", NameOf(field).c_str());
        if (field.record != nullptr) AppendFieldLines(table, *field.record, start + field.offset, depth + 1);
    }
}

Json FieldsJson(const KivRecordType& type, int start) {
    Json fields = Json::array();
    for (const KivRecordField& field : type.fields) {
        Json object = {{"name", field.name},   {"offset", start + field.offset}, {"size", field.width},
                       {"count", field.count}, {"kind", KindOf(field)},          {"order", OrderOf(field)}};
        if (field.record != nullptr) {
            object["record"] = field.record->name;
            object["fields"] = FieldsJson(*field.record, start + field.offset);
        }
        fields.push_back(std::move(object));
    }
    return fields;
}

} // namespace

std::string RecordTypeTable() {
    std::string table = Line("%6s  %s\n", "BYTES", "RECORD");
    for (const KivRecordType* type : KivGetRecordTypes()) {
        table += Line("%6d  %s\n", type->wireSize, type->name);
    }
    return table;
}

std::string RecordFieldTable(const KivRecordType& type) {
    std::string table = Line("%6s  %6s  %-8s  %-7s  %s\n", "OFFSET", "BYTES", "KIND", "ORDER", "FIELD");
    AppendFieldLines(table, type, 0, 0);
    return table;
}

Json RecordTypeJson(const KivRecordType& type) {
    return {{"record", type.name}, {"size", type.wireSize}, {"fields", FieldsJson(type, 0)}};
}

} // namespace tool
