// The report of a failed consistency check.
#include "ConsistencyReport.h"

#include "KivUtility.h"

#include "console_window.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string g_shown;

TEST(ConsistencyReport, PopsUpAndGoesOnWhateverTheHandlerDoes) {
    const auto console = test::OpenConsoleWindow();
    g_theSvrPostMsg.Register(console->Handle(), 0x8001);
    KivSetPopUpHandler([](const char*, const char* text) { throw g_shown = text; });
    kiv::ReportFailedCheck("common/KivUtility/MpgConcat", 516, "bytesWants>=0 Failed", 873);
    KivSetPopUpHandler(nullptr);
    EXPECT_EQ(g_shown, "MpgConcat(516) : bytesWants>=0 Failed");

    unsigned int id     = 0;
    WPARAM       wParam = 0;
    ASSERT_TRUE(console->Next(id, wParam, 0));
    const auto& envelope = *reinterpret_cast<const Kiv_SPMSG_ENVELOPE*>(wParam);
    const auto& event    = *reinterpret_cast<const Kiv_EVENTLOG_INFO*>(envelope.payload);
    EXPECT_TRUE(event.eventType == kKivEvent_Error && event.eventId == 873) << event.text;
    EXPECT_EQ(event.text, " " + g_shown);
    CSvrPostMsg::DisposeMsg(wParam);
    g_theSvrPostMsg.UnRegister();
    while (console->Next(id, wParam, 0)) CSvrPostMsg::DisposeMsg(wParam); // it was told so
}

} // namespace
