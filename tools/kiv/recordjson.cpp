// Walking a record's fields and its JSON side by side.
#include "recordjson.h"

#include "jsontext.h"
#include "names.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string_view>

namespace tool {

namespace {

using nlohmann::json;
using InBytes  = std::span<const unsigned char>;
using OutBytes = std::span<unsigned char>;

std::size_t WidthOf(const KivRecordField& field) { return static_cast<std::size_t>(field.width); }

// The bytes of a field's element `index` within those of its record.
template <class Span> Span ElementOf(const KivRecordField& field, Span record, int index) {
    const std::size_t at =
        static_cast<std::size_t>(field.offset) + static_cast<std::size_t>(index) * WidthOf(field);
    return record.subspan(at, WidthOf(field));
}

// Where the byte of a number lies that `rank` others are more significant than. The one rule of byte order.
std::size_t PlaceOf(std::size_t rank, const KivRecordField& field, ByteOrder order) {
    if (order == ByteOrder::Host || field.order == KivFieldOrder::Sender) return WidthOf(field) - 1 - rank;
    // the halves stand the other way round: the lower one comes first
    if (field.order == KivFieldOrder::NetworkLow16) return rank ^ 2;
    return rank;
}

std::uint64_t LoadNumber(const KivRecordField& field, InBytes bytes, ByteOrder order) {
    std::uint64_t number = 0;
    for (std::size_t rank = 0; rank < bytes.size(); ++rank) {
        number = number << 8 | bytes[PlaceOf(rank, field, order)];
    }
    return number;
}

void StoreNumber(const KivRecordField& field, std::uint64_t number, OutBytes bytes, ByteOrder order) {
    for (std::size_t rank = bytes.size(); rank-- > 0; number >>= 8) {
        bytes[PlaceOf(rank, field, order)] = static_cast<unsigned char>(number);
    }
}

int UnusedBits(const KivRecordField& field) { return 64 - 8 * field.width; }

// The number that the field's bits mean where they are signed.
std::int64_t SignExtended(const KivRecordField& field, std::uint64_t number) {
    return static_cast<std::int64_t>(number << UnusedBits(field)) >> UnusedBits(field);
}

template <class Number> void AppendNumber(std::string& out, Number number) {
    char text[24];
    out.append(text, std::to_chars(text, text + sizeof text, number).ptr);
}

void AppendText(std::string& out, InBytes bytes) {
    const std::string_view whole(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    const std::string_view text     = whole.substr(0, whole.find('\0'));
    const bool             isClean  = whole.find_first_not_of('\0', text.size()) == std::string_view::npos;
    const bool             isString = isClean && IsUtf8(text);
    out += (isString ? Json(text) : HexJson(whole)).dump();
}

void AppendElement(std::string& out, const KivRecordField& field, InBytes bytes, ByteOrder order) {
    switch (field.kind) {
    case KivFieldKind::Text: return AppendText(out, bytes);
    case KivFieldKind::Record: return AppendRecordJson(out, *field.record, bytes, order);
    case KivFieldKind::Signed: return AppendNumber(out, SignExtended(field, LoadNumber(field, bytes, order)));
    case KivFieldKind::Unsigned: break;
    }
    AppendNumber(out, LoadNumber(field, bytes, order));
}

void AppendField(std::string& out, const KivRecordField& field, InBytes record, ByteOrder order) {
    const bool isArray = field.count > 1;
    if (isArray) out += '[';
    for (int i = 0; i < field.count; ++i) {
        if (i > 0) out += ',';
        AppendElement(out, field, ElementOf(field, record, i), order);
    }
    if (isArray) out += ']';
}

// The way to the value that is being packed, for a message.
struct Place {
    const Place*     outer; // null for the record itself
    std::string_view name;
    int              index = -1; // in an array

    std::string Path() const {
        std::string path = outer != nullptr ? outer->Path() : "";
        if (!path.empty() && !name.empty()) path += '.';
        path += name;
        return index < 0 ? path : path + '[' + std::to_string(index) + ']';
    }

    [[noreturn]] void Refuse(const std::string& reason) const { throw FieldError(Path() + ": " + reason); }
};

bool IsInRange(const json& value, std::int64_t least, std::uint64_t most) {
    if (!value.is_number_integer()) return false;
    const bool isNegative = !value.is_number_unsigned() && value.get<std::int64_t>() < 0;
    return isNegative ? value.get<std::int64_t>() >= least : value.get<std::uint64_t>() <= most;
}

void PackNumber(const json& value, const KivRecordField& field, OutBytes bytes, ByteOrder order,
                const Place& place) {
    const bool          isSigned = field.kind == KivFieldKind::Signed;
    const std::uint64_t most     = ~std::uint64_t{0} >> UnusedBits(field) >> (isSigned ? 1 : 0);
    const std::int64_t  least    = isSigned ? -static_cast<std::int64_t>(most) - 1 : 0;
    if (!IsInRange(value, least, most)) {
        place.Refuse("is no whole number from " + std::to_string(least) + " to " + std::to_string(most));
    }
    StoreNumber(field, value.get<std::uint64_t>(), bytes, order);
}

// The bytes of a text, or of what stands for one.
std::string TextBytes(const json& value, const Place& place) {
    try {
        return BytesFromJson(value);
    } catch (const std::invalid_argument& error) {
        place.Refuse(error.what());
    }
}

void PackText(const json& value, OutBytes bytes, const Place& place) {
    const std::string text = TextBytes(value, place);
    if (text.size() > bytes.size()) {
        place.Refuse("is " + std::to_string(text.size()) + " bytes long, and there is room for "
                     + std::to_string(bytes.size()));
    }
    std::ranges::copy(text, bytes.begin());
}

void PackFields(const json& object, const KivRecordType& type, OutBytes bytes, ByteOrder order,
                const Place* outer);

void PackElement(const json& value, const KivRecordField& field, OutBytes bytes, ByteOrder order,
                 const Place& place) {
    switch (field.kind) {
    case KivFieldKind::Text: return PackText(value, bytes, place);
    case KivFieldKind::Record:
        if (!value.is_object()) place.Refuse("is no object");
        return PackFields(value, *field.record, bytes, order, &place);
    case KivFieldKind::Unsigned:
    case KivFieldKind::Signed: break;
    }
    PackNumber(value, field, bytes, order, place);
}

void PackField(const json& value, const KivRecordField& field, OutBytes record, ByteOrder order,
               const Place& place) {
    if (field.count == 1) return PackElement(value, field, ElementOf(field, record, 0), order, place);
    if (!value.is_array()) place.Refuse("is no array");
    if (value.size() > static_cast<std::size_t>(field.count)) {
        place.Refuse("has " + std::to_string(value.size()) + " elements, and there is room for "
                     + std::to_string(field.count));
    }
    Place element = {.outer = place.outer, .name = place.name, .index = 0};
    for (const json& each : value) {
        PackElement(each, field, ElementOf(field, record, element.index), order, element);
        ++element.index;
    }
}

void PackFields(const json& object, const KivRecordType& type, OutBytes bytes, ByteOrder order,
                const Place* outer) {
    for (const auto& [name, value] : object.items()) {
        const auto field = std::ranges::find(type.fields, name, &KivRecordField::name);
        if (field == type.fields.end()) {
            const std::string shown = ShownText(name);
            Place{.outer = outer, .name = shown}.Refuse(std::string("is no field of ") + type.name);
        }
        PackField(value, *field, bytes, order, {.outer = outer, .name = field->name});
    }
}

} // namespace

void AppendRecordJson(std::string& out, const KivRecordType& type, std::span<const unsigned char> bytes,
                      ByteOrder order) {
    char separator = '{';
    for (const KivRecordField& field : type.fields) {
        out += separator;
        out.append("\"").append(field.name).append("\":");
        AppendField(out, field, bytes, order);
        separator = ',';
    }
    out += '}';
}

void PackRecordJson(const nlohmann::json& object, const KivRecordType& type, std::span<unsigned char> bytes,
                    ByteOrder order) {
    PackFields(object, type, bytes, order, nullptr);
}

} // namespace tool
