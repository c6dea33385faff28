// kiv record as a user meets it.
#include "KivUtility.h"

#include "media.h"
#include "tool_run.h"

namespace {

using namespace test;

// Runs `kiv record VERB TYPE FILE FLAGS...` on a file of these bytes.
ToolResult Record(const std::string& verb, const std::string& type, const Bytes& input,
                  const Arguments& flags = {}, const std::string& to = {}) {
    const TempFolder folder;
    return RunTool(Joined({"record", verb, type, folder.Write("input", input)}, flags), to);
}

// Records of every kind of content: any bytes, arrays full of letters, texts that end early, zeros.
Bytes MixedRecords(std::mt19937& random, std::size_t size) {
    Bytes letters = RandomBytes(random, size), sparse = RandomBytes(random, 2 * size);
    for (auto& byte : letters) byte = static_cast<unsigned char>('A' + byte % 26);
    for (auto& byte : sparse) byte = static_cast<unsigned char>(byte < 200 ? 0 : byte % 128);
    return Join({RandomBytes(random, size), letters, sparse, Bytes(size)});
}

TEST(ToolRecord, GivesBackEveryByteOfEveryRecord) {
    std::mt19937      random(7);
    const TempFolder  folder;
    const std::string json = folder.Path("json"), back = folder.Path("back");
    for (const KivRecordType* type : KivGetRecordTypes()) {
        const Bytes records = MixedRecords(random, static_cast<std::size_t>(type->wireSize));
        for (const Arguments& order : {Arguments{}, Arguments{"--host-order"}}) {
            EXPECT_EQ(Record("decode", type->name, records, order, json).status, 0);
            EXPECT_EQ(Record("encode", type->name, ReadWholeFile(json), order, back).problems, "");
            EXPECT_EQ(ReadWholeFile(back), records) << type->name;
        }
    }
}

TEST(ToolRecord, KnowsHowRecordsTravel) {
    const struct {
        const char *type, *json;
        std::size_t at; // where these bytes lie; all others are zero
        Bytes       bytes;
        Arguments   flags = {};
    } rows[] = {
        {"Kiv_EVENTLOG_INFO",
         R"({"subsystem":1,"eventId":-2,"eventType":3,"time":4,"reserved":5,"text":"\"}\u00e9\u0001"})", 0,
         Join({Big(1), Big(0xFFFFFFFE), Big(3), Big(4), Big(5), Text("\"}\xC3\xA9\1")})},
        {"Kiv_SYSTEM_STATUS", R"({"cpuLoad":1,"memoryLoad":2,"upTime":3,"hostName":{"hex":"610062"}})", 0,
         Join({Big(1), Big(2), Little(3), {'a', 0, 'b'}})},
        {"sLiveChannelInfo", R"({"bitRate":9,"channelName":"n","channelId":1,"state":2,"width":65535})", 0,
         Join({Big(1), Big(2), Text("n"), Bytes(63 + 64 + 4), Big(0xFFFF0000), Big(9)})},
        {"Kiv_STM_TARGET",
         R"({"videoControlPort":258,"audioControlPort":50594049,"userName":"0123456789abcdef"})", 154,
         Join({Big(0x01020000), Big(0x01010304), Text("0123456789abcdef")})},
        {"Kiv_STM_TARGET", R"({"protocol":1,"controlPort":258,"sessionId":2})", 64,
         Join({Big(1), Big(258, 2), Big(2)})},
        {"Kiv_STM_SESSION_INFO", R"({"key":{"fileSystem":512},"sentBytes":72623859790382856})", 112,
         Join({Big(512), Bytes(336), Big(0x0102030405060708, 8)})},
        {"Kiv_STM_PERFORMANCE", R"({"nics":[{},{"sendRate":16909060}]})", 36 + 76 + 68, Big(0x01020304)},
        {"Kiv_DISK_INFO", R"({"diskIndex":4660})", 32, Big(0x12340000)},
        {"Kiv_DISK_INFO", R"({"totalBytes":1,"freeBytes":2})", 232, Join({Big(1, 8), Big(2, 8)})},
        {"Kiv_USER_DISK_QUOTA", R"({"isLimited":1,"limit":2,"used":3})", 0, Join({{1}, Big(2), Big(3)})},
        {"Kiv_SIMPLE_USER_GRP_INFO", R"({"groupIds":[0,7]})", 12, Big(7)},
        {"Kiv_FILE_INFO_DYNAMIC", R"([{"servedBytes":18446744073709551615}, {"sessions":1}])", 12,
         Join({Big(~0ULL, 8), Big(1), Bytes(16)})},
        {"kiv_file_handle", "{\"sessionId\":258}{}\n", 0, {2, 1, 0, 0, 0, 0, 0, 0, 0}, {"--host-order"}},
    };

    const TempFolder folder;
    for (const auto& row : rows) {
        const std::string to = folder.Path("packed");
        EXPECT_EQ(Record("encode", row.type, Text(row.json), Joined({"-o", to}, row.flags)).problems, "");
        const Bytes packed = ReadWholeFile(to);
        ASSERT_GE(packed.size(), row.at + row.bytes.size()) << row.json;
        EXPECT_EQ(packed, With(Bytes(packed.size()), row.at, row.bytes)) << row.json;
    }
    EXPECT_EQ(Record("decode", rows[0].type, Join({rows[0].bytes, Bytes(84 - rows[0].bytes.size())})).out,
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
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":{"hex":"0g"}})", "ipAddress: hex"},
        {"Kiv_FILE_ADDRESS", R"({"ipAddress":{"hex":"00","x":1}})", "ipAddress: is neither"},
        {"Kiv_APP_INFO", R"({"services":[{},{"state":-1}]})",
         "services[1].state: is no whole number from 0 to 4294967295"},
        {"Kiv_APP_INFO", R"({"services":[{},{},{},{},{},{}]})", "services: has 6 elements"},
        {"Kiv_APP_INFO", R"({"services":{}})", "services: is no array"},
        {"Kiv_APP_INFO", R"({"appId":1.5})", "appId: is no whole number"},
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
        const ToolResult result = Record("encode", row.type, Text(row.json));
        ExpectComplaint(result, 2, row.where);
        EXPECT_EQ(result.out, "");
    }
}

TEST(ToolRecord, TellsWhatIsLeftOverBehindTheLastRecord) {
    const ToolResult cut = Record("decode", "_upload_time_", Bytes(8 * 10000 + 7));
    ExpectComplaint(cut, 1, ": 7 bytes are left over");
    EXPECT_EQ(cut.Objects().size(), 10000U);
    EXPECT_EQ(Record("decode", "_UpLoad_Time_", {}).status, 1);
}

TEST(ToolRecord, ListsRecordsAndTheirFields) {
    const auto list = [](const Arguments& words) { return RunTool(Joined({"record", "list"}, words)); };
    EXPECT_EQ(list({"--json"}).Objects().size(), KivGetRecordTypes().size());
    const auto services = list({"--json", "KIV_APP_INFO"}).Objects().at(0)["fields"].back();
    EXPECT_EQ(services["count"], 5) << services;
    EXPECT_EQ(services["fields"][1]["offset"], 28) << services;
    EXPECT_NE(list({"Kiv_STM_TARGET"}).out.find("154       4  unsigned  low16    videoControlPort\n"),
              std::string::npos);
}

} // namespace
