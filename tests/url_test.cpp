// Media URLs and the keys of files.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <span>
#include <string>

namespace {

std::string Shown(const Kiv_URL_KEY& key) {
    return std::string(KivConvertProtocolIdToName(key.protocol)) + ' ' + key.host + ' '
           + std::to_string(key.port) + ' ' + std::string(KivConvertSubSystemIdToShortName(key.fileSystem))
           + ' ' + key.path + ' ' + key.query;
}

TEST(KivUrl, IsTakenApart) {
    const std::pair<const char*, const char*> rows[] = {
        {"http://media1/S:/clip.mpg", "http media1 0 SFS /clip.mpg "},
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

TEST(KivUrl, ThatIsNoneLeavesTheKeyAlone) {
    const char* const rows[] = {
        nullptr, "", "http", "http://", "http://h", "http://h/", "http://h/S", "http://h/S:", "http://h/S:/",
        "http://h/clip.mpg",
        // protocol
        "://h/S:/a", "rtsp://h/S:/a", "unkp://h/S:/a", "http3://h/S:/a", " http://h/S:/a", "http:/h/S:/a",
        "rtsp%2ftcp://h/S:/a",
        // host and port
        "http:///S:/a", "http://:80/S:/a", "http://u@h/S:/a", "http://h:/S:/a", "http://h:0/S:/a",
        "http://h:65536/S:/a", "http://h:080x/S:/a", "http://h:-1/S:/a", "http://h%41/S:/a",
        "http://::1/S:/a", "http://[::1/S:/a", "http://[]/S:/a", "http://[::1]80/S:/a",
        "http://[1:2:3:4:5:6:7]/S:/a", "http://[1:2:3:4:5:6:7:8:9]/S:/a", "http://[1::2::3]/S:/a",
        "http://[1:2:3:4:5:6:7:8::]/S:/a", "http://[12345::]/S:/a", "http://[:::]/S:/a", "http://[:1::]/S:/a",
        "http://[1:2:3:4:5:6:7:8:]/S:/a", "http://[::1:]/S:/a", "http://[::1.2.3]/S:/a",
        "http://[::1.2.3.256]/S:/a", "http://[::01.2.3.4]/S:/a", "http://[1.2.3.4::]/S:/a",
        "http://[fe80::1%25eth0]/S:/a",
        // file system
        "http://h/X:/a", "http://h/ :/a", "http://h/%53:/a", "http://h/SS:/a", "http://h/S/a",
        // path and query
        "http://h/S:a", "http://h/S://a", "http://h/S:/a/", "http://h/S:/a//b", "http://h/S:/./a",
        "http://h/S:/a/..", "http://h/S:/%2e%2E/a", "http://h/S:/.%2e", "http://h/S:/a%2fb",
        "http://h/S:/a%5Cb", "http://h/S:/a\\b", "http://h/S:/a%00", "http://h/S:/a%0a", "http://h/S:/%7f",
        "http://h/S:/%", "http://h/S:/%4", "http://h/S:/%4g", "http://h/S:/a b", "http://h/S:/a#b",
        "http://h/S:/\xe4", "http://h/S:/a?b#c", "http://h/S:/a?b c", "http://h/S:/a?%4",
        "http://h/S:/a?[b]"};
    const auto isSame = [](const auto& one, const auto& other) {
        return std::ranges::equal(std::as_bytes(std::span(&one, 1)), std::as_bytes(std::span(&other, 1)));
    };
    for (const char* url : rows) {
        Kiv_URL_KEY  key, before;
        Kiv_FILE_KEY fileKey, fileBefore;
        std::memset(&key, 'x', sizeof key);
        std::memset(&fileKey, 'x', sizeof fileKey);
        before     = key;
        fileBefore = fileKey;
        EXPECT_EQ(KivParseKivUrl(url, key) + KivParseKivUrl(url, fileKey), 0) << url;
        EXPECT_TRUE(isSame(key, before) && isSame(fileKey, fileBefore)) << url;
    }
}

// Each part in turn as long as its field holds, and one longer.
TEST(KivUrl, IsCutNowhere) {
    const auto text = [](std::size_t size) { return std::string(size, 'a'); };
    for (const std::size_t more : {0U, 1U}) {
        const std::string rows[] = {"http://" + text(63 + more) + "/S:/a", "http://h/S:/" + text(254 + more),
                                    "http://h/S:/a?" + text(255 + more),
                                    "http://h/S:/" + text(253) + "%41" + std::string(more, 'b')};
        for (const auto& url : rows) {
            Kiv_URL_KEY key;
            EXPECT_EQ(KivParseKivUrl(url.c_str(), key), more == 0) << url;
        }
        Kiv_FILE_KEY key; // in which host and port share a field
        EXPECT_EQ(KivParseKivUrl(("http://" + text(58 + more) + ":1234/S:/a").c_str(), key), more == 0);
    }
}

TEST(KivUrl, FillsTheKeyOfAFileWithZerosBehindEachText) {
    Kiv_FILE_KEY key, expected{};
    std::memset(&key, 'x', sizeof key);
    expected.fileSystem = kKivSys_StreamingFs;
    std::strcpy(expected.path, "/a b.mpg");
    std::strcpy(expected.host, "[::1]:80");
    std::strcpy(expected.protocolName, "rtsp/tcp");
    EXPECT_EQ(KivParseKivUrl("rtsp+tcp://[::1]:80/S:/a%20b.mpg?not=part", key), 1);
    EXPECT_EQ(std::memcmp(&key, &expected, sizeof key), 0);

    EXPECT_EQ(KivFileUtil::setFileKey(key, kKivSys_AnsiFs, key.path + 1, "h", 0, kKivProt_Ftp), 1)
        << "from itself";
    EXPECT_STREQ(key.path, "a b.mpg");
    EXPECT_STREQ(key.host, "h");
    EXPECT_EQ(KivFileUtil::setFileKey(key, kKivSys_AnsiFs, nullptr, "h", 0, kKivProt_Ftp)
                  + KivFileUtil::setFileKey(key, kKivSys_AnsiFs, std::string(256, 'p').c_str(), "h", 0,
                                            kKivProt_Ftp),
              0);
    EXPECT_STREQ(key.path, "a b.mpg");
}

} // namespace
