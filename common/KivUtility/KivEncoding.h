// Bytes as text: hexadecimal and base64 of RFC 4648. And bytes that are not to be read at a glance.
#ifndef KIVUTILITY_KIVENCODING_H
#define KIVUTILITY_KIVENCODING_H

#include "KivDynaBuffer.h"
#include "KivExport.h"
#include "KivString.h"

// Nothing here keeps state: any thread may call it. Those that return an int give 1 for success and 0 for
// failure, which leaves the result as it was; memory that runs out is a failure, too.

// Two digits a byte, a to f in lower case.
KIV_API int KivEncodeHex(const void* bytes, unsigned long size, CKivString& text);

// The bytes that pairs of hexadecimal digits spell, in either case; the empty text is no bytes. Anything else
// in the text, also white space, or half a pair is a failure.
KIV_API int KivDecodeHex(const char* text, CKivDynaBuffer& bytes);

// Groups of four characters with `=` as padding, without line breaks (RFC 4648, 4).
KIV_API int KivEncodeBase64(const void* bytes, unsigned long size, CKivString& text);

// The bytes that such a text spells. Strict: only what KivEncodeBase64 writes is taken, so that two texts are
// never the same bytes. White space, missing padding, padding in the middle and bits that are left over and
// not 0 are failures.
KIV_API int KivDecodeBase64(const char* text, CKivDynaBuffer& bytes);

// Makes bytes unreadable at a glance, for those who know the key to make readable again: an OBSCURING, no
// protection. Who knows this declaration and some of the bytes has the others; a secret belongs elsewhere.
//
// The bytes are changed in place and stay as many. Each is combined by exclusive or with one of a sequence
// that the key gives, the same on every platform and in every version: what was stored stays readable. The
// sequence: x starts as the 32-bit FNV-1a hash of the key's bytes, or 1 where that is 0; for each byte
// x ^= x << 13, x ^= x >> 17, x ^= x << 5, all in 32 bits, and the uppermost 8 bits of x are taken.
// A null or empty key is a failure.
KIV_API int KivScramble(CKivDynaBuffer& bytes, const char* key);
KIV_API int KivUnscramble(CKivDynaBuffer& bytes, const char* key);

#endif
