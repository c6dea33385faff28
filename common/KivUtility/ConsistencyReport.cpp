// The report of a failed check, as an error event.
#include "ConsistencyReport.h"

#include "KivSvrPostMsg.h"

void kiv::ReportFailedCheck(const char* unit, int line, const char* text, int kivRc) noexcept {
    try {
        Kiv_RaiseWEmsg(kKivEvent_Error, unit, line, kivRc, text, 1);
    } catch (...) { // a handler of pop-ups that breaks its contract
        return;
    }
}
