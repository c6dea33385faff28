// Placing SDP files for the streaming service.
#include "KivUtility.h"

#include "temp_folder.h"

#include <gtest/gtest.h>

namespace {

namespace fs = std::filesystem;

const std::string kSdp = "v=0\r\no=- 1 1 IN IP4 192.0.2.1\r\ns=Live\r\n";

struct SdpPublisher : testing::Test {
    std::size_t Files() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder.Path("")), {}));
    }

    test::TempFolder folder;
    CKivSdpPublisher publisher{folder.Path("").c_str(), "none.service"};
};

TEST_F(SdpPublisher, MakesTheFileAndReplacesIt) {
    const std::string longest = std::string(196, 'n') + ".SDP";
    for (const std::string& text : {kSdp + std::string(100'000, 'a'), kSdp, std::string("v=0\n")}) {
        for (const std::string& name : {std::string("a b..sdp"), longest}) {
            EXPECT_EQ(publisher.Publish(name.c_str(), text.c_str()), CKivSdpPublisher::kSdp_Done) << name;
            const test::Bytes written = test::ReadWholeFile(folder.Path(name));
            EXPECT_EQ(std::string(written.begin(), written.end()), text);
        }
        EXPECT_EQ(Files(), 2U) << "nothing else is left";
    }
}

TEST_F(SdpPublisher, RefusesNamesThatLeadElsewhereAndTextsThatAreNoSdp) {
    const std::string tooLong = std::string(197, 'n') + ".sdp";
    for (const char* name :
         {static_cast<const char*>(nullptr), "", ".sdp", "..sdp", "live", "live.sdp.", "../live.sdp",
          "a/live.sdp", "a\\live.sdp", "C:live.sdp", "live.sdp:x.sdp", "nul.sdp", "Com1.x.sdp", "con .sdp",
          "a\n.sdp", "a\x7f.sdp", "a*.sdp", ".hidden.sdp", tooLong.c_str()}) {
        EXPECT_EQ(publisher.Publish(name, kSdp.c_str()), CKivSdpPublisher::kSdp_BadName) << name;
    }
    for (const char* text :
         {static_cast<const char*>(nullptr), "", "v=0", "v=1\n", "v=0 \n", " v=0\n", "v=0\r", "o=-\nv=0\n"})
        EXPECT_EQ(publisher.Publish("live.sdp", text), CKivSdpPublisher::kSdp_BadContent) << text;
    EXPECT_EQ(Files(), 0U);
}

TEST_F(SdpPublisher, LeavesTheFolderAsItWasWhenItCannotWrite) {
    fs::create_directories(folder.Path("taken.sdp/x"));
    EXPECT_EQ(publisher.Publish("taken.sdp", kSdp.c_str()), CKivSdpPublisher::kSdp_NotWritten);
    EXPECT_EQ(Files(), 1U) << "the folder that has the name, and no temporary file";
    for (const auto& none : {folder.Path("none"), std::string()})
        EXPECT_EQ(CKivSdpPublisher(none.c_str(), "").Publish("a.sdp", kSdp.c_str()),
                  CKivSdpPublisher::kSdp_NotWritten);
    EXPECT_EQ(publisher.StartStreaming(), 0) << "there is no such service";
}

TEST_F(SdpPublisher, TakesFolderAndServiceFromTheRegistry) {
    const CKivSdpPublisher standard;
    CKivRegistryMgr        node(HKEY_LOCAL_MACHINE);
    ASSERT_EQ(node.OpenNode("SOFTWARE\\Halvorn\\Common\\Server\\StreamingService", 1), 1);
    EXPECT_TRUE(node.Update("MediaFolder", folder.Path("").c_str()) && node.Update("ServiceName", ""));
    const CKivSdpPublisher configured;
    EXPECT_EQ(configured.Publish("live.sdp", kSdp.c_str()), CKivSdpPublisher::kSdp_Done);
    EXPECT_TRUE(fs::exists(folder.Path("live.sdp")));
    EXPECT_TRUE(configured.GetServiceName() == standard.GetServiceName() && standard.GetServiceName() != "");
    EXPECT_EQ(node.DeleteNode(0), 1);
}

} // namespace
