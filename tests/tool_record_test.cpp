// kiv record as a user meets it.
#include "KivUtility.h"
#include "tool_run.h"

#include <gtest/gtest.h>

namespace {

using namespace test;

// Runs `kiv record VERB TYPE FILE FLAGS...` on a file of these bytes.
ToolResult Record(const std::string& verb, const std::string& type, const Bytes& input,
                  const Arguments& flags = {}) {
    const TempFolder folder;
    Arguments        words = {"record", verb, type, folder.Write("input", input)};
    words.insert(words.end(), flags.begin(), flags.end());
    return RunTool(words);
}

Bytes BytesOf(const std::string& text) { return {text.begin(), text.end()}; }

// What `kiv record encode` makes of a JSON text; its complaint where it makes nothing.
Bytes Packed(const std::string& type, const std::string& text, Arguments flags = {}) {
    const TempFolder folder;
    flags.insert(flags.end(), {"-o", folder.Path("packed")});
    const ToolResult packed = Record("encode", type, BytesOf(text), flags);
    return packed.status == 0 ? ReadWholeFile(folder.Path("packed")) : BytesOf(packed.problems);
}

struct Builder {
    Bytes bytes;

    Builder& Number(std::size_t width, std::uint64_t number) {
        for (std::size_t i = width; i-- > 0;) bytes.push_back(static_cast<unsigned char>(number >> 8 * i));
        return *this;
    }

    Builder& Text(std::size_t width, std::string text) {
        text.resize(width);
        bytes.insert(bytes.end(), text.begin(), text.end());
        return *this;
    }
};

// Records of every kind of content: any bytes, arrays full of letters, texts that end early, zeros.
Bytes MixedRecords(std::mt19937& random, std::size_t size) {
    Bytes records = RandomBytes(random, 5 * size);
    for (std::size_t i = size; i < 2 * size; ++i)
        records[i] = static_cast<unsigned char>('A' + records[i] % 26);
    for (std::size_t i = 2 * size; i < 4 * size; ++i) {
        records[i] = static_cast<unsigned char>(records[i] < 200 ? 0 : records[i] % 128);
    }
    std::fill(records.begin() + static_cast<std::ptrdiff_t>(4 * size), records.end(), 0);
    return records;
}

TEST(ToolRecord, GivesBackEveryByteOfEveryRecord) {
    std::mt19937     random(7);
    const TempFolder folder;
    for (const KivRecordType* type : KivGetRecordTypes()) {
        const std::string file =
            folder.Write("records", MixedRecords(random, static_cast<std::size_t>(type->wireSize)));
        for (const Arguments& order : {Arguments{}, Arguments{"--host-order"}}) {
            Arguments decode = {"record", "decode", type->name},
                      encode = {"record", "encode", type->name, "-"};
            decode.insert(decode.end(), order.begin(), order.end());
            encode.insert(encode.end(), order.begin(), order.end());
            EXPECT_EQ(RunTool(decode, folder.Path("json"), file).status, 0);
            EXPECT_EQ(RunTool(encode, folder.Path("back"), folder.Path("json")).problems, "");
            EXPECT_EQ(ReadWholeFile(folder.Path("back")), ReadWholeFile(file)) << type->name;
        }
    }
}

TEST(ToolRecord, KnowsHowRecordsTravel) {
    struct {
        const char *type, *json;
        Bytes       bytes;
    } const rows[] = {
        {"Kiv_EVENTLOG_INFO",
         R"({"subsystem":1,"eventId":-2,"eventType":3,"time":4,"reserved":5,"text":"\"}\u00e9\u0001"})",
         Builder()
             .Number(4, 1)
             .Number(4, 0xFFFFFFFE)
             .Number(4, 3)
             .Number(4, 4)
             .Number(4, 5)
             .Text(64, "\"}\xC3\xA9\1")
             .bytes},
        {"Kiv_SYSTEM_STATUS", R"({"cpuLoad":1,"memoryLoad":2,"upTime":3,"hostName":{"hex":"610062"}})",
         Builder().Number(4, 1).Number(4, 2).Number(4, 0x03000000).Text(64, std::string("a\0b", 3)).bytes},
        {"sLiveChannelInfo", R"({"bitRate":9,"channelName":"n","channelId":1,"state":2,"width":65535})",
         Builder()
             .Number(4, 1)
             .Number(4, 2)
             .Text(64, "n")
             .Text(64, "")
             .Number(4, 0)
             .Number(4, 0xFFFF0000)
             .Number(4, 9)
             .bytes},
        {"Kiv_STM_TARGET",
         R"({"videoControlPort":258,"audioControlPort":50594049,"userName":"0123456789abcdef"})",
         Builder()
             .Text(154, "")
             .Number(4, 0x01020000)
             .Number(4, 0x01010304)
             .Text(16, "0123456789abcdef")
             .bytes},
        {"Kiv_FILE_INFO_DYNAMIC", R"([{"servedBytes":18446744073709551615}, {"sessions":1}])",
         Builder().Text(12, "").Number(8, ~std::uint64_t{0}).Number(4, 1).Text(16, "").bytes},
    };

    for (const auto& row : rows) EXPECT_EQ(Packed(row.type, row.json), row.bytes) << row.type;
    EXPECT_EQ(Packed("kiv_file_handle", "{\"sessionId\":258}{}\n", {"--host-order"}),
              Builder().Number(2, 0x0201).Text(14, "").bytes);
    EXPECT_EQ(Record("decode", rows[0].type, rows[0].bytes).out,
              "{\"subsystem\":1,\"eventId\":-2,\"eventType\":3,\"time\":4,\"reserved\":5,\"text\":"
              "\"\\\"}\xC3\xA9\\u0001\"}\n");
}

TEST(ToolRecord, RefusesWhatDoesNotFitAndSaysWhere) {
    const std::string once = "{\"sessionId\":1}";

    const struct {
        const char* type;
        std::string json, where;
    } rows[] = {
        {"Kiv_FILE_ADDRESS", R"({"key":{"pat":"a"}})",
         "record 1 (line 1): key.pat: is no field of Kiv_FILE_KEY"},
        {"Kiv_FILE_ADDRESS", "{}{}\n{\"key\":{\n\"path\":5}}", "record 3 (line 2): key.path: is neither"},
        {"Kiv_FILE_ADDRESS", R"({"key":[]})", "key: is no object"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":"123456789012345678901234567890123"})",
         "ipAddress: is 33 bytes long"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":"1\u00002"})", "ipAddress: holds a NUL"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":{"hex":"123"}})", "ipAddress: hex"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":{"hex":"0g"}})", "ipAddress: hex"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":{"hex":"00","x":1}})", "ipAddress: is neither"},
        {"Kiv_APP_INFO", R"({"services":[{},{"state":-1}]})",
         "services[1].state: is no whole number from 0 to 4294967295"},
        {"Kiv_APP_INFO", R"({"services":[{},{},{},{},{},{}]})", "services: has 6 elements"},
        {"Kiv_APP_INFO", R"({"services":{}})", "services: is no array"},
        {"Kiv_APP_INFO", R"({"appId":4294967296})", "appId: is no whole number"},
        {"Kiv_APP_INFO", R"({"appId":1.5})", "appId: is no whole number"},
        {"Kiv_APP_INFO", R"({"appId":"1"})", "appId: is no whole number"},
        {"Kiv_EVENTLOG_INFO", R"({"eventId":-2147483649})",
         "eventId: is no whole number from -2147483648 to 2147483647"},
        {"Kiv_EVENTLOG_INFO", R"({"eventId":2147483648})", "eventId: is no whole number"},
        {"Kiv_FILE_INFO_DYNAMIC", R"({"servedBytes":18446744073709551616})",
         "servedBytes: is no whole number"},
        {"Kiv_FILE_INFO_STATIC", R"({"isDirectory":256})", "isDirectory: is no whole number from 0 to 255"},
        {"Kiv_FILE_HANDLE", "{}\n\n{\"fileId\":\n,}", "record 2 (line 4): bad JSON"},
        {"Kiv_FILE_HANDLE", R"({"fileId":1,"fileId":1})", "\"fileId\" is given twice"},
        {"Kiv_FILE_HANDLE", once + "\n7", "record 2 (line 2): bad JSON"},
        {"Kiv_FILE_HANDLE", R"({"fileId":1)", "bad JSON"},
        {"Kiv_FILE_HANDLE", "[" + once, "bad JSON"},
        {"Kiv_FILE_HANDLE", "[" + once + once + "]", "bad JSON"},
        {"Kiv_FILE_HANDLE", "[" + once + ",]", "bad JSON"},
        {"Kiv_FILE_HANDLE", "[" + once + "]" + once, "bad JSON"},
        {"Kiv_FILE_HANDLE", "{" + std::string(1 << 20, ' ') + "}", "does not end within"},
        {"Kiv_FILE_HANDLE", " \n", "holds no record"},
        {"Kiv_FILE_HANDLE", "[]", "holds no record"},
        {"Kiv_FILE_HANDEL", once, "Kiv_FILE_HANDEL: there is no such record"},
    };

    for (const auto& row : rows) {
        const ToolResult result = Record("encode", row.type, BytesOf(row.json));
        EXPECT_TRUE(result.status == 2 && result.out.empty()) << row.json.substr(0, 80);
        EXPECT_NE(result.problems.find(row.where), std::string::npos) << result.problems;
    }
}

TEST(ToolRecord, TellsWhatIsLeftOverBehindTheLastRecord) {
    const ToolResult cut = Record("decode", "_upload_time_", Bytes(8 * 10000 + 7));
    EXPECT_TRUE(cut.status == 1 && cut.Objects().size() == 10000) << cut.status;
    EXPECT_NE(cut.problems.find(": 7 bytes are left over"), std::string::npos) << cut.problems;
    EXPECT_EQ(Record("decode", "_UpLoad_Time_", {}).status, 1);
}

TEST(ToolRecord, ListsRecordsAndTheirFields) {
    const auto objects = RunTool({"record", "list", "--json"}).Objects();
    ASSERT_EQ(objects.size(), KivGetRecordTypes().size());
    const auto services =
        RunTool({"record", "list", "--json", "KIV_APP_INFO"}).Objects().at(0)["fields"].back();
    EXPECT_EQ(services["count"], 5) << services;
    EXPECT_EQ(services["fields"][1]["offset"], 28) << services;
    EXPECT_NE(RunTool({"record", "list", "Kiv_STM_TARGET"})
                  .out.find("154       4  unsigned  low16    videoControlPort\n"),
              std::string::npos);
}

} // namespace
