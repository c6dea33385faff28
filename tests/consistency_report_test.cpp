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

    const auto [id, text, event] = test::Receive(*console);
    EXPECT_TRUE(event.eventType == kKivEvent_Error && event.eventId == 873);
    EXPECT_EQ(text, " " + g_shown);
    g_theSvrPostMsg.UnRegister();
    test::Receive(*console); // it is told so
}

} // namespace
