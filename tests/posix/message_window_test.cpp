// The queue that stands for a window, the pop-up that nobody redirected, and a text that cannot be written.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

struct MessageWindow : testing::Test {
    MessageWindow() { poster.Register(window.GetHandle(), 1); }

    bool Fetch(int timeoutMs) {
        if (!window.Get(message, timeoutMs)) return false;
        CSvrPostMsg::DisposeMsg(message.wParam);
        return true;
    }

    KivMessageWindow window;
    KivWindowMessage message{7, 8, 9};
    CSvrPostMsg      poster;
};

TEST_F(MessageWindow, WaitsNoLongerThanToldAndForEverWhenTold) {
    const auto start = std::chrono::steady_clock::now();
    EXPECT_FALSE(Fetch(0) || Fetch(30));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_TRUE(message.id == 7 && message.wParam == 8 && message.lParam == 9);
    std::thread posts([&] { poster.PostMsg(-1); });
    EXPECT_TRUE(Fetch(-1) && message.id == 1 && message.lParam == 0);
    posts.join();
}

// Here and not on Windows, because Wine lets a queue grow for ever.
TEST_F(MessageWindow, RefusesWhatItsFullQueueCannotTake) {
    int posted = 0;
    while (posted <= 10000 && poster.PostMsg("text") != 0) ++posted;
    EXPECT_TRUE(posted == 10000 && Fetch(0)) << posted;
    // of two pieces the first finds a place
    EXPECT_EQ(poster.PostEvent(kKivSys_Unknown, 1, kKivEvent_Error, std::string(61, 'x').c_str(), 0), 0);
    while (Fetch(0)) --posted;
    EXPECT_EQ(posted, 0);
}

TEST(PopUp, IsALineOnStandardErrorByDefault) {
    testing::internal::CaptureStderr();
    KivSetPopUpHandler(nullptr);
    Kiv_RaiseWEmsg(kKivEvent_Error, "a/unit", 12, 0, "x Failed", 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "PopUp Error: unit(12) : x Failed\n");
}

TEST(Formatting, OfWhatTheLocaleCannotWriteIsEmpty) { EXPECT_STREQ(KivFmtStr("a%ls", L"\u6210"), ""); }

} // namespace
