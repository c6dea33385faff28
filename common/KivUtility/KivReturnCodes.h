// The return codes of the network, stream manager and relay layers, in words.
#ifndef KIVUTILITY_KIVRETURNCODES_H
#define KIVUTILITY_KIVRETURNCODES_H

#include "KivExport.h"
#include "KivString.h"

#include <cstdint>

struct KivReturnCodeRecord {
    std::uint32_t code;
    const char*   text; // ASCII
};

// Every return code once, rising, and how many there are. Constant.
extern KIV_API const KivReturnCodeRecord KivReturnCodeTable[];
extern KIV_API const int                 KivReturnCodeRows;

// The text of a return code; "Unknown Error" for a number that is none, as is any that needs more than 32
// bits. Any thread.
KIV_API CKivString KivFindNetErrorMsg(unsigned long code);

#endif
