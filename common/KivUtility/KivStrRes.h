// The servers' messages by number, and printf-style formatting into strings.
//
// A number from 0 to 103 is a general return code of the servers (0 success, 100 the first warning), one from
// 104 on a text. The texts are Chinese in GBK (code page 936), a few are English. Everything here is constant
// or keeps no state; any thread may call it. Failures come back as a text.
#ifndef KIVUTILITY_KIVSTRRES_H
#define KIVUTILITY_KIVSTRRES_H

#include "KivExport.h"
#include "KivString.h"

#include <cstdarg>

struct KivStringResourceRecord {
    int         id;
    const char* text; // GBK
};

// Row i has id i; TABLEROWS rows.
extern KIV_API const KivStringResourceRecord KivStringResourceTable[];
extern KIV_API const int                     TABLEROWS;

// The text of message `id` in GBK; "Unknown Message" for a number outside 0..TABLEROWS - 1.
KIV_API CKivString KivGetStrRes(int id);

// The same text in UTF-8, for terminals and whatever else reads UTF-8.
KIV_API CKivString KivGetStrResUtf8(int id);

// Formats as printf does. The result has at most 1023 bytes, what is more is cut off; it is empty where the
// runtime cannot format an argument. A null format gives "Kiv_FormatString receive NULL format", one of more
// than 512 characters gives "KivFmtStrV receive format which is too long". The arguments must fit the format;
// after KivFmtStrV the caller only ends them.
KIV_API CKivString KivFmtStrV(const char* format, va_list arguments) KIV_PRINTF(1, 0);
KIV_API CKivString KivFmtStr(const char* format, ...) KIV_PRINTF(1, 2);

// Formats with the text of KivGetStrRes(id); nobody checks that the arguments fit it.
KIV_API CKivString KivFmtStrRes(int id, ...);

// 0 when every row of the table has its position as its id, otherwise the first other row's position plus 1.
KIV_API int KivChkStrRes();

#endif
