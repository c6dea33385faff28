// Packing and reading of the management records.
#include "KivUtility.h"

#include "media.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstring>
#include <limits>
#include <map>

namespace {

using namespace test;

std::vector<std::string> g_reports; // what was shown as a pop-up, without the place that reported it

struct Record : testing::Test {
    Record() {
        g_reports.clear();
        KivSetPopUpHandler([](const char*, const char* shown) {
            const std::string text = shown;
            EXPECT_TRUE(text.starts_with("KivStructWrapper(")) << text;
            g_reports.push_back(text.substr(text.find(") : ") + 4));
        });
    }

    ~Record() override { KivSetPopUpHandler(nullptr); }
};

// Calls visit<Record, Wrapper>(its description) for every record type.
template <class Visit> void ForEachRecord(Visit visit) {
#define VISIT(Type, Wrapper)                                                                                 \
    {                                                                                                        \
        SCOPED_TRACE(#Type);                                                                                 \
        visit.template operator()<Type, Wrapper>(*KivFindRecordType(#Type));                                 \
    }
    KIV_FOR_EACH_RECORD(VISIT)
#undef VISIT
}

// Written field by field, as classes with operations of their own are.
template <class Wrapper> struct Derived : Wrapper {
    using Wrapper::put, Wrapper::Wrapper;

    void put(CKivDynaBuffer& buffer, const char* data, int len) override {
        ++puts;
        Wrapper::put(buffer, data, len);
    }

    void setAndAdvance(void* dst, const char*& src, int len, const char* bound) override {
        ++sets;
        Wrapper::setAndAdvance(dst, src, len, bound);
    }

    int puts = 0, sets = 0;
};

Bytes Written(KivStructWrapperBase&& wrapper) {
    CKivDynaBuffer buffer;
    wrapper.getOutgoingStruct(buffer);
    return BytesIn(buffer);
}

// A record with all of its bytes random.
template <class Type> Type Filled(unsigned seed) {
    std::mt19937 random(seed);
    const Bytes  bytes = RandomBytes(random, sizeof(Type));
    Type         record;
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

// What a reader makes of the bytes, written again.
template <class Wrapper, class Type> Bytes ReadBack(const Bytes& bytes) {
    auto record = Filled<Type>(99);
    Wrapper(record).setIncomingStruct(reinterpret_cast<const char*>(bytes.data()),
                                      static_cast<int>(bytes.size()));
    return Written(Wrapper(record));
}

// The file address's key is read from the start of the record.
template <class Type> Bytes AsReaderSees(const Bytes& sent) {
    return std::is_same_v<Type, Kiv_FILE_ADDRESS> ? With(sent, 32, First(sent, 340)) : sent;
}

// The bytes of a record that was written as it is, as they are once it was converted; `back`: and back again.
void Convert(Bytes& bytes, const KivRecordType& type, bool back, int at = 0) {
    for (const KivRecordField& field : type.fields) {
        for (int i = 0; i < field.count; ++i) {
            const int  offset = at + field.offset + i * field.width;
            const auto number = bytes.begin() + offset;
            if (field.kind == KivFieldKind::Record) Convert(bytes, *field.record, back, offset);
            if (field.kind == KivFieldKind::Record || field.kind == KivFieldKind::Text) continue;
            const bool isLow16 = field.order == KivFieldOrder::NetworkLow16;
            if (isLow16) std::fill_n(number + 2, 2, 0);
            if (field.order != KivFieldOrder::Sender && !back)
                std::reverse(number, number + (isLow16 ? 2 : field.width));
        }
    }
}

TEST_F(Record, OfEveryTypeSurvivesTheWire) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto  record = Filled<Type>(1);
        Bytes sent = Written(Wrapper(record)), back = sent;
        Wrapper(record).toNetByteOrder();
        const Bytes wire = Written(Wrapper(record));
        EXPECT_EQ(Wrapper(record).getExactStructSize(), described.wireSize);
        EXPECT_EQ(wire.size(), static_cast<std::size_t>(described.wireSize));
        EXPECT_EQ((ReadBack<Wrapper, Type>(wire)), AsReaderSees<Type>(wire));

        Convert(sent, described, false);
        if (std::endian::native == std::endian::little) {
            EXPECT_EQ(wire, sent);
        }
        Convert(back, described, true);
        Wrapper(record).toHostByteOrder();
        EXPECT_EQ(Written(Wrapper(record)), back);
    });
    EXPECT_TRUE(g_reports.empty());
}

TEST_F(Record, LiesOnTheWireAsPeersExpect) {
    Kiv_EVENTLOG_INFO record{1, -2, 3, 4, "xy", 5};
    Kiv_EVENTLOG_INFO_WRAPPER(record).toNetByteOrder();
    EXPECT_EQ(Written(Kiv_EVENTLOG_INFO_WRAPPER(record)),
              Join({Big(1), Big(0xFFFFFFFE), Big(3), Big(4), Big(5), Text("xy"), Bytes(62)}));
}

// How often put() and setAndAdvance() are called: a nested record is put as one block, with one exception,
// and read by its own wrapper; the entries of an array are fields like all others.
const std::map<std::string, std::pair<int, int>> kCalls = {{"Kiv_APP_INFO", {6 + 5 * 3, 6 + 5 * 3}},
                                                           {"Kiv_STM_SESSION_INFO", {19, 18}},
                                                           {"Kiv_SIMPLE_STM_SESSION_INFO", {12, 12}}};

TEST_F(Record, GoesFieldByFieldThroughReplacedOperations) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto             record = Filled<Type>(2);
        const Bytes      plain  = Written(Wrapper(record));
        CKivDynaBuffer   buffer;
        Derived<Wrapper> derived(record);
        derived.getOutgoingStruct(buffer);
        EXPECT_EQ(BytesIn(buffer), plain);
        EXPECT_EQ((ReadBack<Derived<Wrapper>, Type>(plain)), AsReaderSees<Type>(plain));
        derived.setIncomingStruct(static_cast<const char*>(buffer.GetBufferPtr()),
                                  static_cast<int>(buffer.GetSize()));
        const auto calls = kCalls.find(described.name);
        if (calls != kCalls.end()) {
            EXPECT_EQ(std::pair(derived.puts, derived.sets), calls->second);
        }
    });
    EXPECT_TRUE(g_reports.empty());
}

// The text of the length report, as each record's reader has it.
std::string LengthReport(const std::string& record) {
    if (record == "Kiv_GROUP_INFO" || record == "Kiv_SIMPLE_USER_GRP_INFO")
        return "this->getExactStructSize() <= len Failed";
    const bool isExact =
        record == "sLiveChannelInfo" || record == "sUploadFileInfo" || record == "_UpLoad_Time_";
    return isExact ? "size == getExactStructSize() Failed" : "getExactStructSize() <= len Failed";
}

TEST_F(Record, ReadFromTheWrongLengthIsReportedOnceAndFilledWithZeros) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto              record = Filled<Type>(3);
        const Bytes       whole  = Written(Wrapper(record));
        const std::string report = LengthReport(described.name);
        const auto        read   = [&](std::size_t size) {
            Bytes bytes = whole;
            bytes.resize(size);
            Bytes expected = bytes;
            expected.resize(whole.size());
            bytes.shrink_to_fit(); // a block of exactly this size: a read behind it is caught
            g_reports.clear();
            ASSERT_EQ((ReadBack<Wrapper, Type>(bytes)), AsReaderSees<Type>(expected)) << size << " bytes";
        };
        for (std::size_t size = 0; size < whole.size(); size += size + 50 < whole.size() ? 7 : 1) {
            read(size);
            ASSERT_EQ(std::ranges::count(g_reports, report), 1) << size << " bytes";
        }
        const KivRecordField& last = described.fields.back();
        const bool nested = last.kind == KivFieldKind::Record && KivFindRecordType(last.record->name);
        EXPECT_EQ(std::ranges::count(g_reports, "(src+len) <= bound Failed"), nested ? 0 : 1)
            << "one byte short";
        for (const int none : {0, -1, -6291456, std::numeric_limits<int>::min()}) {
            g_reports.clear();
            Wrapper(record).setIncomingStruct(nullptr, none);
            ASSERT_EQ(Written(Wrapper(record)), Bytes(whole.size())) << none;
            ASSERT_EQ(std::ranges::count(g_reports, report), 1) << none;
        }
        read(whole.size() + 1);
        EXPECT_EQ(g_reports.size(), report.starts_with("size ==") ? 1U : 0U);
    });
}

TEST(StructWrapper, ReversesBytesAndThrowsWithoutMemory) {
    if (std::endian::native == std::endian::little) {
        EXPECT_EQ(hton64(0x0102030405060708), 0x0807060504030201);
        EXPECT_EQ(ntoh64(hton64(-2)), -2);
    }

    struct Wide : KivStructWrapperBase {
        void getOutgoingStruct(CKivDynaBuffer& buffer) override {
            put(buffer, 2UL);
            put(buffer, static_cast<short>(-2));
            put(buffer, true);
            put(buffer, nullptr, 0);
            put(buffer, "", -1);
        }
    };

    CKivDynaBuffer buffer;
    try {
        Wide().getOutgoingStruct(buffer);
        FAIL() << "4 GiB cannot be appended";
    } catch (const StructWrapperException& error) {
        EXPECT_STREQ(error.getReason(), "Not enough memory");
    }
    EXPECT_EQ(buffer.GetSize(), 7) << "a long travels in 4 bytes";
}

template <class Wrapper, class Type> int SizeWithACacheOf(int size, Type record) {
    struct Resized : Wrapper {
        Resized(Type& of, int size) : Wrapper(of) { Wrapper::m_exactStructSize = size; }
    };

    return Resized(record, size).getExactStructSize();
}

TEST(StructWrapper, CachesItsSizeApartFromThatOfLiveChannels) {
    EXPECT_EQ(SizeWithACacheOf<Kiv_GROUP_INFO_WRAPPER>(999, Kiv_GROUP_INFO{}), 999);
    EXPECT_EQ(SizeWithACacheOf<sLiveChannelInfo_WRAPPER>(999, sLiveChannelInfo{}), 148);
}

} // namespace
