// The queue that stands for a window: handles, waiting, and the pop-up that nobody redirected.
#include "KivUtility.h"

#include <gtest/gtest.h>

#include <chrono>
#include <set>
#include <string>
#include <thread>

namespace {

TEST(MessageWindow, NeverGetsAHandleThatWasInUse) {
    std::set<HWND> handles;
    for (int i = 0; i < 100; ++i) EXPECT_TRUE(handles.insert(KivMessageWindow().GetHandle()).second);
    EXPECT_EQ(handles.count(nullptr), 0U);
}

TEST(MessageWindow, WaitsNoLongerThanToldAndForEverWhenTold) {
    KivMessageWindow window;
    KivWindowMessage message{7, 8, 9};
    const auto       start = std::chrono::steady_clock::now();
    EXPECT_FALSE(window.Get(message, 0) || window.Get(message, 30));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_TRUE(message.id == 7 && message.wParam == 8 && message.lParam == 9);

    CSvrPostMsg poster;
    poster.Register(window.GetHandle(), 1);
    std::thread posts([&] { poster.PostMsg(-1); });
    EXPECT_TRUE(window.Get(message, -1));
    posts.join();
    EXPECT_EQ(message.id, 1U);
    CSvrPostMsg::DisposeMsg(message.wParam);
}

// Here and not on Windows, because Wine lets a queue grow for ever.
TEST(MessageWindow, RefusesWhatItsFullQueueCannotTake) {
    KivMessageWindow window;
    KivWindowMessage message{};
    CSvrPostMsg      poster;
    poster.Register(window.GetHandle(), 1);
    int posted = 0;
    while (posted <= 10000 && poster.PostMsg("text") != 0) ++posted;
    EXPECT_EQ(posted, 10000);
    const auto fetch = [&] {
        if (!window.Get(message, 0)) return false;
        CSvrPostMsg::DisposeMsg(message.wParam);
        return true;
    };
    EXPECT_TRUE(fetch());
    // of two pieces the first finds a place
    EXPECT_EQ(poster.PostEvent(kKivSys_Unknown, 1, kKivEvent_Error, std::string(61, 'x').c_str(), 0), 0);
    while (fetch()) --posted;
    EXPECT_EQ(posted, 0);
}

TEST(PopUp, IsALineOnStandardErrorByDefault) {
    testing::internal::CaptureStderr();
    KivSetPopUpHandler(nullptr);
    Kiv_RaiseWEmsg(kKivEvent_Error, "a/unit", 12, 0, "x Failed", 1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "PopUp Error: unit(12) : x Failed\n");
}

} // namespace
