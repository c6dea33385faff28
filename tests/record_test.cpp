// Packing and reading of the management records.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using test::Bytes;

std::vector<std::string> g_reports; // what was shown as a pop-up

class Record : public testing::Test {
protected:
    Record() {
        g_reports.clear();
        KivSetPopUpHandler([](const char*, const char* text) { g_reports.emplace_back(text); });
    }

    ~Record() override { KivSetPopUpHandler(nullptr); }

    // How many reports were raised with this text.
    static long Reports(const std::string& text) {
        return std::ranges::count_if(g_reports, [&](const std::string& report) {
            return report.starts_with("KivStructWrapper(") && report.ends_with(") : " + text);
        });
    }
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
template <class Wrapper> class Derived : public Wrapper {
public:
    using Wrapper::Wrapper;
    int m_puts = 0, m_sets = 0;

private:
    using Wrapper::put;

    void put(CKivDynaBuffer& buffer, const char* data, int len) override {
        ++m_puts;
        Wrapper::put(buffer, data, len);
    }

    void setAndAdvance(void* dst, const char*& src, int len, const char* bound) override {
        ++m_sets;
        Wrapper::setAndAdvance(dst, src, len, bound);
    }
};

Bytes Written(KivStructWrapperBase&& wrapper) {
    CKivDynaBuffer buffer;
    wrapper.getOutgoingStruct(buffer);
    const auto* bytes = static_cast<const unsigned char*>(buffer.GetBufferPtr());
    return {bytes, bytes + buffer.GetSize()};
}

void Read(KivStructWrapperBase&& wrapper, const Bytes& bytes) {
    wrapper.setIncomingStruct(reinterpret_cast<const char*>(bytes.data()), static_cast<int>(bytes.size()));
}

// A record with all of its bytes random.
template <class Type> Type Filled(unsigned seed) {
    std::mt19937 random(seed);
    const Bytes  bytes = test::RandomBytes(random, sizeof(Type));
    Type         record;
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

// What a reader makes of the bytes, written again.
template <class Wrapper, class Type> Bytes ReadBack(const Bytes& bytes) {
    auto record = Filled<Type>(99);
    Read(Wrapper(record), bytes);
    return Written(Wrapper(record));
}

// The file address's key is read from the start of the record.
template <class Type> Bytes AsReaderSees(Bytes bytes) {
    if constexpr (std::is_same_v<Type, Kiv_FILE_ADDRESS>) {
        const Bytes sent = bytes;
        std::copy_n(sent.begin(), 340, bytes.begin() + 32);
    }
    return bytes;
}

// The bytes of a record that was written as it is, as they are once it was converted; `back`: and back again.
void Convert(Bytes& bytes, const KivRecordType& type, bool back, int at = 0) {
    for (const KivRecordField& field : type.fields) {
        for (int i = 0; i < field.count; ++i) {
            const int  offset = at + field.offset + i * field.width;
            const auto number = bytes.begin() + offset;
            if (field.kind == KivFieldKind::Record) Convert(bytes, *field.record, back, offset);
            if (field.kind == KivFieldKind::Record || field.kind == KivFieldKind::Text) continue;
            if (field.order == KivFieldOrder::NetworkLow16) std::fill_n(number + 2, 2, 0);
            const int swapped = field.order == KivFieldOrder::NetworkLow16 ? 2 : field.width;
            if (field.order != KivFieldOrder::Sender && !back) std::reverse(number, number + swapped);
        }
    }
}

TEST_F(Record, OfEveryTypeSurvivesTheWire) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto        record = Filled<Type>(1);
        const Bytes plain  = Written(Wrapper(record));
        Wrapper(record).toNetByteOrder();
        const Bytes wire = Written(Wrapper(record));
        EXPECT_EQ(Wrapper(record).getExactStructSize(), described.wireSize);
        EXPECT_EQ(wire.size(), static_cast<std::size_t>(described.wireSize));
        EXPECT_EQ((ReadBack<Wrapper, Type>(wire)), AsReaderSees<Type>(wire));

        Bytes expected = plain;
        Convert(expected, described, false);
        if (std::endian::native == std::endian::little) {
            EXPECT_EQ(wire, expected);
        }
        Wrapper(record).toHostByteOrder();
        expected = plain;
        Convert(expected, described, true);
        EXPECT_EQ(Written(Wrapper(record)), expected);
    });
    EXPECT_TRUE(g_reports.empty());
}

Bytes Hex(std::string_view digits) {
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16)));
    }
    return bytes;
}

// Bytes of a record that is converted and written.
template <class Wrapper, class Type> Bytes OnTheWire(Type record, std::size_t from, std::size_t count) {
    Wrapper(record).toNetByteOrder();
    const Bytes bytes = Written(Wrapper(record));
    const auto* start = bytes.data() + from;
    return {start, start + count};
}

TEST_F(Record, LiesOnTheWireAsPeersExpect) {
    EXPECT_EQ(OnTheWire<Kiv_SYSTEM_STATUS_WRAPPER>(Kiv_SYSTEM_STATUS{1, 2, 0x01020304, "abc"}, 0, 17),
              Hex("000000010000000204030201"
                  "6162630000"));
    EXPECT_EQ(OnTheWire<Kiv_EVENTLOG_INFO_WRAPPER>(Kiv_EVENTLOG_INFO{1, -2, 3, 4, "xy", 5}, 0, 23),
              Hex("00000001fffffffe000000030000000400000005"
                  "787900"));
    Kiv_STM_TARGET target{};
    target.protocol         = 0x01020304;
    target.controlPort      = 0x0506;
    target.sessionId        = 7;
    target.audioPort        = 0x1718;
    target.videoControlPort = 0x1234;
    target.audioControlPort = 0xFFFF5678;
    EXPECT_EQ(OnTheWire<Kiv_STM_TARGET_WRAPPER>(target, 64, 10), Hex("01020304050600000007"));
    EXPECT_EQ(OnTheWire<Kiv_STM_TARGET_WRAPPER>(target, 152, 10), Hex("17181234000056780000"));
    sLiveChannelInfo channel{};
    channel.channelId        = 1;
    channel.channelName[0]   = 'n';
    channel.state            = 2;
    channel.sourceAddress[0] = 's';
    EXPECT_EQ(OnTheWire<sLiveChannelInfo_WRAPPER>(channel, 0, 9), Hex("00000001000000026e"));
    EXPECT_EQ(OnTheWire<sLiveChannelInfo_WRAPPER>(channel, 72, 1), Hex("73"));
    Kiv_STM_SESSION_INFO session{};
    session.key.fileSystem = 0x200;
    session.sentBytes      = 0x0102030405060708;
    EXPECT_EQ(OnTheWire<Kiv_STM_SESSION_INFO_WRAPPER>(session, 112, 4), Hex("00000200"));
    EXPECT_EQ(OnTheWire<Kiv_STM_SESSION_INFO_WRAPPER>(session, 452, 8), Hex("0102030405060708"));
    Kiv_STM_PERFORMANCE performance{};
    performance.nics[15].sendRate = 0x01020304;
    EXPECT_EQ(OnTheWire<Kiv_STM_PERFORMANCE_WRAPPER>(performance, 36 + 15 * 76 + 68, 4), Hex("01020304"));
    Kiv_DISK_INFO disk{};
    disk.diskIndex  = 0x1234;
    disk.totalBytes = 1;
    disk.freeBytes  = 2;
    EXPECT_EQ(OnTheWire<Kiv_DISK_INFO_WRAPPER>(disk, 32, 4), Hex("12340000"));
    EXPECT_EQ(OnTheWire<Kiv_DISK_INFO_WRAPPER>(disk, 232, 16), Hex("00000000000000010000000000000002"));
    sUploadFileInfo upload{};
    upload.width  = 720;
    upload.height = 576;
    EXPECT_EQ(OnTheWire<sUploadFileInfo_WRAPPER>(upload, 336, 4), Hex("02d00240"));
    EXPECT_EQ(OnTheWire<Kiv_USER_DISK_QUOTA_WRAPPER>(Kiv_USER_DISK_QUOTA{1, 2, 3}, 0, 9),
              Hex("010000000200000003"));
    Kiv_SIMPLE_USER_GRP_INFO groups{};
    groups.groupIds[99] = 0x0A0B0C0D;
    EXPECT_EQ(OnTheWire<Kiv_SIMPLE_USER_GRP_INFO_WRAPPER>(groups, 404, 4), Hex("0a0b0c0d"));
}

// Fields that put() and setAndAdvance() see: a nested record is put as one block, with one exception, and
// read by its own wrapper.
int Fields(const KivRecordType& type, bool reading) {
    int        count = 0;
    const bool block = !reading && &type != KivFindRecordType("Kiv_SIMPLE_STM_SESSION_INFO");
    for (const KivRecordField& field : type.fields) {
        const bool entry =
            field.kind == KivFieldKind::Record && KivFindRecordType(field.record->name) == nullptr;
        if (entry) count += field.count * Fields(*field.record, reading);
        if (field.kind != KivFieldKind::Record || (!entry && block)) ++count;
    }
    return count;
}

TEST_F(Record, GoesFieldByFieldThroughReplacedOperations) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto             record = Filled<Type>(2);
        const Bytes      plain  = Written(Wrapper(record));
        CKivDynaBuffer   buffer;
        Derived<Wrapper> derived(record);
        derived.getOutgoingStruct(buffer);
        EXPECT_EQ(Written(Derived<Wrapper>(record)), plain);
        EXPECT_EQ(derived.m_puts, Fields(described, false));
        derived.setIncomingStruct(reinterpret_cast<const char*>(plain.data()),
                                  static_cast<int>(plain.size()));
        EXPECT_EQ(derived.m_sets, Fields(described, true));
        EXPECT_EQ((ReadBack<Derived<Wrapper>, Type>(plain)), AsReaderSees<Type>(plain));
    });
    EXPECT_TRUE(g_reports.empty());
}

// The text of the length report, as each record's reader has it.
template <class Type> std::string LengthReport() {
    if (std::is_same_v<Type, Kiv_GROUP_INFO> || std::is_same_v<Type, Kiv_SIMPLE_USER_GRP_INFO>) {
        return "this->getExactStructSize() <= len Failed";
    }
    const bool exact =
        std::is_same_v<
            Type,
            sLiveChannelInfo> || std::is_same_v<Type, sUploadFileInfo> || std::is_same_v<Type, _UpLoad_Time_>;
    return exact ? "size == getExactStructSize() Failed" : "getExactStructSize() <= len Failed";
}

TEST_F(Record, ReadFromTheWrongLengthIsReportedOnceAndFilledWithZeros) {
    ForEachRecord([]<class Type, class Wrapper>(const KivRecordType& described) {
        auto        record = Filled<Type>(3);
        const Bytes whole  = Written(Wrapper(record));
        const auto  read   = [&](std::size_t size) {
            Bytes bytes = whole;
            bytes.resize(size); // a block of exactly this size: a read behind it is caught
            bytes.shrink_to_fit();
            Bytes expected = bytes;
            expected.resize(whole.size());
            g_reports.clear();
            ASSERT_EQ((ReadBack<Wrapper, Type>(bytes)), AsReaderSees<Type>(expected)) << size << " bytes";
        };
        for (std::size_t size = 0; size < whole.size(); size += size + 50 < whole.size() ? 7 : 1) {
            read(size);
            ASSERT_EQ(Reports(LengthReport<Type>()), 1) << size << " bytes";
        }
        const KivRecordField& last = described.fields.back();
        const bool nested = last.kind == KivFieldKind::Record && KivFindRecordType(last.record->name);
        EXPECT_EQ(Reports("(src+len) <= bound Failed"), nested ? 0 : 1) << "one byte short";
        for (const int none : {0, -1, -6291456, std::numeric_limits<int>::min()}) {
            g_reports.clear();
            Wrapper(record).setIncomingStruct(nullptr, none);
            ASSERT_EQ(Written(Wrapper(record)), Bytes(whole.size())) << none;
            ASSERT_EQ(Reports(LengthReport<Type>()), 1) << none;
        }
        read(whole.size() + 1);
        EXPECT_EQ(g_reports.size(), LengthReport<Type>().starts_with("size ==") ? 1U : 0U);
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

TEST(StructWrapper, CachesItsSizeApartFromThatOfLiveChannels) {
    struct Group : Kiv_GROUP_INFO_WRAPPER {
        using Kiv_GROUP_INFO_WRAPPER::Kiv_GROUP_INFO_WRAPPER;

        int Set(int size) { return m_exactStructSize = size, getExactStructSize(); }
    };

    struct Channel : sLiveChannelInfo_WRAPPER {
        using sLiveChannelInfo_WRAPPER::sLiveChannelInfo_WRAPPER;

        int Set(int size) { return m_exactStructSize = size, getExactStructSize(); }
    };

    Kiv_GROUP_INFO   group{};
    sLiveChannelInfo channel{};
    EXPECT_EQ(Group(group).Set(999), 999);
    EXPECT_EQ(Channel(channel).Set(999), 148);
}

} // namespace
