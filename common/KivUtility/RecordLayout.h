// The means to declare a record's wire layout once, as the list of its fields, and to walk that list.
#ifndef KIVUTILITY_RECORDLAYOUT_H
#define KIVUTILITY_RECORDLAYOUT_H

#include <bit>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace kiv {

// Specialised for every record: `Fields` is the Layout, the base class says which lengths its reader takes.
template <class Record> struct Wire;

// The reader's test of the length that it is given, and the text of the report when it fails.
struct LengthAtLeast {
    static constexpr const char* kLengthReport = "getExactStructSize() <= len Failed";

    static constexpr bool Accepts(int size, int len) { return size <= len; }
};

struct LengthAtLeastThis : LengthAtLeast {
    static constexpr const char* kLengthReport = "this->getExactStructSize() <= len Failed";
};

struct LengthExact {
    static constexpr const char* kLengthReport = "size == getExactStructSize() Failed";

    static constexpr bool Accepts(int size, int len) { return size == len; }
};

enum class Conversion {
    Network,     // numbers travel most significant byte first once they were converted
    None,        // the field travels in the sender's byte order
    NetworkLow16 // a 32-bit slot of a 16-bit value: only the low half is converted, the upper one becomes 0
};

// A field with what is out of the ordinary about it.
template <auto Member, Conversion Converts = Conversion::Network, bool FromStart = false,
          bool Directly = false>
struct Field {
    static constexpr auto       kMember          = Member;
    static constexpr Conversion kConversion      = Converts;
    static constexpr bool       kReadFromStart   = FromStart;
    static constexpr bool       kWrittenDirectly = Directly;
};

template <auto Member> inline constexpr Field<Member, Conversion::None>         kUnconverted{};
template <auto Member> inline constexpr Field<Member, Conversion::NetworkLow16> kLow16{};
// The reader takes this nested record from the start of the outer one, although it is written in its place.
template <auto Member> inline constexpr Field<Member, Conversion::Network, true> kReadFromStart{};
// This nested record is written into the outer one's buffer, and not put there as one block.
template <auto Member> inline constexpr Field<Member, Conversion::Network, false, true> kWrittenDirectly{};

// What stands in a layout: a field as it is, or one of the above.
template <auto Listed> constexpr auto FieldOf() {
    if constexpr (std::is_member_object_pointer_v<decltype(Listed)>)
        return Field<Listed>{};
    else
        return Listed;
}

// The fields of a record in the order of the wire.
template <auto... Listed> struct Layout {
    // Calls visit(field, value) for each field of the record. A field that is an array of records is
    // visited record by record.
    template <class Record, class Visit> static constexpr void ForEach(Record& record, Visit visit) {
        (VisitField(FieldOf<Listed>(), record, visit), ...);
    }

    // Calls visit(field) for each field.
    template <class Visit> static constexpr void ForEach(Visit visit) { (visit(FieldOf<Listed>()), ...); }

private:
    template <class Each, class Record, class Visit>
    static constexpr void VisitField(Each field, Record& record, Visit& visit) {
        auto& value = record.*Each::kMember;
        using Value = std::remove_cvref_t<decltype(value)>;
        if constexpr (std::is_class_v<std::remove_extent_t<Value>> && std::is_array_v<Value>) {
            for (auto& element : value) visit(field, element);
        } else {
            visit(field, value);
        }
    }
};

template <class Value> inline constexpr bool kIsRecord = std::is_class_v<Value>;

// A record that has no wrapper of its own: it occurs only as the entry of an array.
template <class Value>
concept Entry = kIsRecord<Value> && !requires {
    Wire<Value>::kLengthReport;
};

template <class Record> using FieldsOf = typename Wire<Record>::Fields;

// Bytes that the value takes on the wire.
template <class Value> constexpr int WireSizeOf() {
    if constexpr (std::is_array_v<Value>) {
        return static_cast<int>(std::extent_v<Value>) * WireSizeOf<std::remove_extent_t<Value>>();
    } else if constexpr (kIsRecord<Value>) {
        int size = 0;
        FieldsOf<Value>::ForEach([&]<class Each>(Each) {
            size += WireSizeOf<std::remove_reference_t<decltype(std::declval<Value&>().*Each::kMember)>>();
        });
        return size;
    } else {
        return static_cast<int>(sizeof(Value));
    }
}

// Writes the record's bytes at `at`; returns where they end.
template <class Record> unsigned char* Store(const Record& record, unsigned char* at) noexcept {
    FieldsOf<Record>::ForEach(record, [&](auto, const auto& value) {
        if constexpr (kIsRecord<std::remove_cvref_t<decltype(value)>>) {
            at = Store(value, at);
        } else {
            std::memcpy(at, &value, sizeof(value));
            at += sizeof(value);
        }
    });
    return at;
}

// Fills the record from WireSizeOf<Record>() bytes at `start`; returns where they end.
template <class Record> const unsigned char* Load(Record& record, const unsigned char* start) noexcept {
    const unsigned char* at = start;
    FieldsOf<Record>::ForEach(record, [&]<class Each>(Each, auto& value) {
        if constexpr (kIsRecord<std::remove_cvref_t<decltype(value)>>) {
            const unsigned char* end = Load(value, Each::kReadFromStart ? start : at);
            at                       = Each::kReadFromStart ? at : end;
        } else {
            std::memcpy(&value, at, sizeof(value));
            at += sizeof(value);
        }
    });
    return at;
}

// The number with its bytes in network order when they were in the host's, and the other way round.
template <std::unsigned_integral Number> constexpr Number ToggleNetworkOrder(Number number) noexcept {
    if constexpr (std::endian::native == std::endian::big || sizeof(Number) == 1) return number;
    Number reversed = 0;
    for (std::size_t i = 0; i < sizeof(Number); ++i) {
        reversed = static_cast<Number>((reversed << 8) | (number & 0xFF));
        number   = static_cast<Number>(number >> 8);
    }
    return reversed;
}

template <Conversion Converts, class Value> void ToggleField(Value& value) noexcept {
    if constexpr (std::is_array_v<Value>) {
        if constexpr (sizeof(value[0]) > 1) {
            for (auto& element : value) ToggleField<Converts>(element);
        }
    } else if constexpr (Converts == Conversion::NetworkLow16) {
        value = ToggleNetworkOrder(static_cast<std::uint16_t>(value));
    } else if constexpr (Converts == Conversion::Network) {
        value = static_cast<Value>(ToggleNetworkOrder(static_cast<std::make_unsigned_t<Value>>(value)));
    }
}

// Converts every number of the record from host to network order, or back: the same operation.
template <class Record> void ToggleByteOrder(Record& record) noexcept {
    FieldsOf<Record>::ForEach(record, []<class Each>(Each, auto& value) {
        if constexpr (kIsRecord<std::remove_cvref_t<decltype(value)>>) {
            ToggleByteOrder(value);
        } else {
            ToggleField<Each::kConversion>(value);
        }
    });
}

} // namespace kiv

#endif
