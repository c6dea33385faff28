// The one door through which a failed consistency check is reported.
#ifndef KIVUTILITY_CONSISTENCYREPORT_H
#define KIVUTILITY_CONSISTENCYREPORT_H

namespace kiv {

// Reports a check that failed as an error event of the return code `kivRc`, 0 being the general one, with a
// pop-up: "UNIT(LINE) : TEXT", where UNIT is the last component of `unit`. By default it waits until the
// pop-up is answered (KivSetPopUpHandler): not for a place that holds a lock. What cannot be reported is
// lost: the caller goes on either way. Any thread.
void ReportFailedCheck(const char* unit, int line, const char* text, int kivRc = 0) noexcept;

} // namespace kiv

#endif
