// Media URLs and the keys of files.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

std::string Shown(const Kiv_URL_KEY& key) {
    return std::string(KivConvertProtocolIdToName(key.protocol)) + ' ' + key.host + ' '
           + std::to_string(key.port) + ' ' + std::string(KivConvertSubSystemIdToShortName(key.fileSystem))
           + ' ' + key.path + ' ' + key.query;
}

TEST(KivUrl, IsTakenApart) {
    const std::pair<const char*, const char*> rows[] = {
        {"RTSP/TCP://10.0.0.1:554/s:/a/b.mpg?", "rtsp/tcp 10.0.0.1 554 SFS /a/b.mpg "},
        {"rtsp+udp://h/L:/live", "rtsp/udp h 0 LFS /live "},
        {"http2://[2001:db8::1]:65535/W:/a?start=10&x=%20/?",
         "http2 2001:db8::1 65535 WFS /a start=10&x=%20/?"},
        {"ftp://[::ffff:192.0.2.1]/A:/a:b@c/...", "ftp ::ffff:192.0.2.1 0 ANSI /a:b@c/... "},
        {"ftp://[1:2:3:4:5:6:7::]/N:/%e4%B8%ad%20%3f%25", "ftp 1:2:3:4:5:6:7:: 0 NFS /\xe4\xb8\xad ?% "},
        {"ftp://[::]/M:/a", "ftp :: 0 MFS /a "}};
    for (const auto& [url, parts] : rows) {
        Kiv_URL_KEY key;
        std::memset(&key, 'x', sizeof key);
        EXPECT_EQ(KivParseKivUrl(url, key), 1) << url;
        EXPECT_EQ(Shown(key), parts);
    }
}

template <class Key> bool IsRefusedAndKeyLeftAlone(const char* url) {
    Key key;
    std::memset(&key, 'x', sizeof key);
    const bool isRefused = KivParseKivUrl(url, key) == 0;
    return isRefused
           && std::string(reinterpret_cast<const char*>(&key), sizeof key) == std::string(sizeof key, 'x');
}

void ExpectNone(const char* url) {
    EXPECT_TRUE(IsRefusedAndKeyLeftAlone<Kiv_URL_KEY>(url)) << url;
    EXPECT_TRUE(IsRefusedAndKeyLeftAlone<Kiv_FILE_KEY>(url)) << url;
}

TEST(KivUrl, ThatIsNoneLeavesTheKeyAlone) {
    const std::string whole = "http://h/S:/a";
    ExpectNone(nullptr);
    for (std::size_t n = 0; n < whole.size(); ++n) ExpectNone(whole.substr(0, n).c_str());
    for (const char* protocol : {"://", "rtsp://", "unkp://", "http3://", " http://", "http:/"})
        ExpectNone((std::string(protocol) + "h/S:/a").c_str());
    const char* const hosts[] = {"", ":80", "u@h", "h%41",
                                 // port
                                 "h:", "h:0", "h:65536", "h:080x",
                                 // address
                                 "::1", "[::1", "[]", "[::1]80", "[1:2:3:4:5:6:7]", "[1:2:3:4:5:6:7:8:9]",
                                 "[1::2::3]", "[1:2:3:4:5:6:7:8::]", "[12345::]", "[:::]", "[:1::]", "[::1:]",
                                 "[::1.2.3]", "[::1.2.3.256]", "[::01.2.3.4]", "[1.2.3.4::]",
                                 "[fe80::1%25eth0]"};
    for (const char* host : hosts) ExpectNone((std::string("http://") + host + "/S:/a").c_str());
    for (const char* place :
         {"X:/a",    " :/a",     "SS:/a",       "S/a",     "S:a",      "S://a",    "S:/a/",
          "S:/a//b", "S:/./a",   "S:/%2e%2E/a", "S:/.%2e", "S:/a%2fb", "S:/a%5Cb", "S:/a\\b",
          "S:/a%00", "S:/%1f",   "S:/%7f",      "S:/%4",   "S:/%4g",   "S:/a b",   "S:/a#b",
          "S:/\xe4", "S:/a?b#c", "S:/a?%4",     "S:/a?[b]"})
        ExpectNone((std::string("http://h/") + place).c_str());
}

// Each part in turn as long as its field holds, and one longer.
TEST(KivUrl, IsCutNowhere) {
    const auto text = [](std::size_t size) { return std::string(size, 'a'); };
    for (const std::size_t more : {0U, 1U}) {
        for (const auto& url :
             {"http://" + text(63 + more) + "/S:/a", "http://h/S:/" + text(254 + more),
              "http://h/S:/a?" + text(255 + more), "http://h/S:/" + text(253) + "%41" + text(more)}) {
            Kiv_URL_KEY key;
            EXPECT_EQ(KivParseKivUrl(url.c_str(), key), more == 0) << url;
        }
        Kiv_FILE_KEY key; // in which host and port share a field
        EXPECT_EQ(KivParseKivUrl(("http://" + text(58 + more) + ":1234/S:/a").c_str(), key), more == 0);
    }
}

TEST(KivUrl, FillsTheKeyOfAFileWithZerosBehindEachText) {
    Kiv_FILE_KEY key, expected{kKivSys_StreamingFs, "/a b.mpg", "[::1]:80", "rtsp/tcp"};
    std::memset(&key, 'x', sizeof key);
    EXPECT_EQ(KivParseKivUrl("rtsp+tcp://[::1]:80/S:/a%20b.mpg?not=part", key), 1);
    EXPECT_EQ(std::memcmp(&key, &expected, sizeof key), 0);

    const auto set = [&](const char* path) {
        return KivFileUtil::setFileKey(key, kKivSys_AnsiFs, path, "h", 0, kKivProt_Ftp);
    };
    EXPECT_EQ(set(key.path + 1), 1) << "from itself";
    EXPECT_EQ(set(nullptr) + set(std::string(256, 'p').c_str()), 0);
    EXPECT_STREQ(key.path, "a b.mpg");
    EXPECT_STREQ(key.host, "h");
}

} // namespace
