// The description of the records, made from their layouts by the compiler.
#include "KivRecordCatalog.h"

#include "KivStructWrapper.h"
#include "RecordLayouts.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

// The name of a member or a type, out of the compiler's own name for a function that has it as its argument:
// "... [with auto Member = &Kiv_FILE_KEY::path]" of GCC, "... [Member = &Kiv_FILE_KEY::path]" of Clang.
constexpr std::string_view LastName(std::string_view function) {
    function.remove_suffix(1);
    return function.substr(function.find_last_of(" :&") + 1);
}

// `auto`: GCC explains a named result type behind the argument
template <auto Member> constexpr auto MemberName() { return LastName(__PRETTY_FUNCTION__); }

template <class Type> constexpr auto TypeName() { return LastName(__PRETTY_FUNCTION__); }

static_assert(MemberName<&Kiv_FILE_KEY::path>() == "path" && TypeName<_UpLoad_Time_>() == "_UpLoad_Time_");

template <std::size_t Size> constexpr std::array<char, Size + 1> Terminated(std::string_view name) {
    std::array<char, Size + 1> text{};
    std::ranges::copy(name, text.begin());
    return text;
}

template <auto Member>
constexpr auto kMemberName = Terminated<MemberName<Member>().size()>(MemberName<Member>());
template <class Type> constexpr auto kTypeName = Terminated<TypeName<Type>().size()>(TypeName<Type>());

template <class Member> struct MemberType;

template <class Record, class Type> struct MemberType<Type Record::*> { using Value = Type; };

template <class Record> struct Description;

// What a field's elements are: a text counts as one.
template <class Value> constexpr bool kIsText = std::is_same_v<std::remove_extent_t<Value>, char>;
template <class Value>
using ElementOf = std::conditional_t<kIsText<Value>, Value, std::remove_extent_t<Value>>;

template <class Element> constexpr KivFieldKind KindOf() {
    if (kIsText<Element>) return KivFieldKind::Text;
    if (kiv::kIsRecord<Element>) return KivFieldKind::Record;
    return std::is_signed_v<Element> ? KivFieldKind::Signed : KivFieldKind::Unsigned;
}

constexpr KivFieldOrder OrderOf(kiv::Conversion conversion) {
    switch (conversion) {
    case kiv::Conversion::None: return KivFieldOrder::Sender;
    case kiv::Conversion::NetworkLow16: return KivFieldOrder::NetworkLow16;
    case kiv::Conversion::Network: break;
    }
    return KivFieldOrder::Network;
}

template <class Each> constexpr KivRecordField Describe(int offset) {
    using Member                = MemberType<std::remove_const_t<decltype(Each::kMember)>>;
    using Element               = ElementOf<typename Member::Value>;
    const KivRecordType* record = nullptr;
    if constexpr (kiv::kIsRecord<Element>) record = &Description<Element>::kType;
    constexpr int kWidth = kiv::WireSizeOf<Element>();
    return {.name   = kMemberName<Each::kMember>.data(),
            .kind   = KindOf<Element>(),
            .order  = OrderOf(Each::kConversion),
            .offset = offset,
            .width  = kWidth,
            .count  = kiv::WireSizeOf<typename Member::Value>() / kWidth,
            .record = record};
}

template <class Record> constexpr std::size_t FieldCount() {
    std::size_t count = 0;
    kiv::FieldsOf<Record>::ForEach([&](auto) { ++count; });
    return count;
}

template <class Record> constexpr auto DescribeFields() {
    std::array<KivRecordField, FieldCount<Record>()> fields{};
    std::size_t                                      at     = 0;
    int                                              offset = 0;
    kiv::FieldsOf<Record>::ForEach([&]<class Each>(Each) {
        fields[at] = Describe<Each>(offset);
        offset += fields[at].width * fields[at].count;
        ++at;
    });
    return fields;
}

template <class Record> struct Description {
    static constexpr auto          kFields = DescribeFields<Record>();
    static constexpr KivRecordType kType   = {kTypeName<Record>.data(), kiv::WireSizeOf<Record>(), kFields};
};

#define KIV_LIST_TYPE(Record, Wrapper) &Description<Record>::kType,
constexpr const KivRecordType* kTypes[] = {KIV_FOR_EACH_RECORD(KIV_LIST_TYPE)};

} // namespace

std::span<const KivRecordType* const> KivGetRecordTypes() { return kTypes; }

const KivRecordType* KivFindRecordType(const char* name) {
    if (name == nullptr) return nullptr;
    const auto* type = std::ranges::find(kTypes, std::string_view(name),
                                         [](const KivRecordType* each) { return each->name; });
    return type == std::end(kTypes) ? nullptr : *type;
}
