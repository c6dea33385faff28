// The report of a failed consistency check.
#include "ConsistencyReport.h"

#include "KivUtility.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string g_shown;

TEST(ConsistencyReport, PopsUpAndGoesOnWhateverTheHandlerDoes) {
    KivSetPopUpHandler([](const char*, const char* text) { throw g_shown = text; });
    kiv::ReportFailedCheck("common/KivUtility/MpgConcat", 516, "bytesWants>=0 Failed");
    KivSetPopUpHandler(nullptr);
    EXPECT_EQ(g_shown, "MpgConcat(516) : bytesWants>=0 Failed");
}

} // namespace
