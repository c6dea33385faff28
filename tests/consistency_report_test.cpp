// The report of a failed consistency check.
#include "ConsistencyReport.h"

#include "KivUtility.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

std::string g_shown;

TEST(ConsistencyReport, PopsUpAndGoesOnWhateverTheHandlerDoes) {
    KivSetPopUpHandler([](const char* title, const char* text) {
        g_shown = title + std::string("|") + text;
        throw std::runtime_error("handlers should not");
    });
    kiv::ReportFailedCheck("common/KivUtility/MpgConcat", 516, "bytesWants>=0 Failed");
    KivSetPopUpHandler(nullptr);
    EXPECT_EQ(g_shown, "PopUp Error|MpgConcat(516) : bytesWants>=0 Failed");
}

} // namespace
