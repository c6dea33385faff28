// The URLs that name media files on the servers, and the keys made of them.
#ifndef KIVUTILITY_KIVURL_H
#define KIVUTILITY_KIVURL_H

#include "KivExport.h"
#include "KivNames.h"
#include "KivRecords.h"

#include <cstdint>

// The parts of a URL. Every text is NUL-terminated and followed by zeros.
struct Kiv_URL_KEY {
    Kiv_STM_PROTOCOL_ID protocol;   // never kKivProt_Unknown
    Kiv_SUBSYSTEM       fileSystem; // one of those that have a letter
    std::uint16_t       port;       // 0 where the URL gives none
    char                host[64];   // a name, an IPv4 or an IPv6 address, this one without its brackets
    char                path[256];  // within the file system, from its first slash on, decoded
    char                query[256]; // as written, without the question mark
};

// Takes a media URL apart, in the terms of RFC 3986:
//
//   media-url = protocol "://" host [ ":" port ] "/" letter ":" path [ "?" query ]
//   protocol  = a name that KivConvertProtocolNameToId knows, such as rtsp/tcp or http; a plus may stand for
//               its slash, which no RFC 3986 scheme has: rtsp+tcp
//   host      = 1*( ALPHA / DIGIT / "-" / "." / "_" ) / "[" IPv6address "]"
//   port      = 1 to 65535
//   letter    = that of a file system, see KivConvertCharNameToSubSystemId
//   path      = 1*( "/" segment-nz )
//
// Protocol and letter are taken in either case. Percent-encoding is decoded in the path, where it must not
// hide a slash, a backslash or a control character, and nowhere else. A segment "." or ".." is refused,
// however it is spelt, and so are user information and a fragment: what a path names lies where it says.
// Bytes outside ASCII are taken percent-encoded only.
//
// 1, or 0 for what is no such URL or has a part that is too long for its field: `key` is then as it was. Any
// thread.
KIV_API int KivParseKivUrl(const char* url, Kiv_URL_KEY& key);

// The same for the key of the file, of which a query is no part.
KIV_API int KivParseKivUrl(const char* url, Kiv_FILE_KEY& key);

// 1 where the text is an IPv4 address, four numbers of 0 to 255 without zeros in front, else 0, as for null.
KIV_API int KivIsIpv4Address(const char* text);

// Fills the keys of files.
class KIV_API KivFileUtil {
public:
    // Clears the key and fills it; its host is "host", "host:port" or "[host]:port", an IPv6 address always
    // in brackets. 0, and the key as it was, where a part is null or too long for its field: nothing is cut.
    // The parts are not looked at otherwise, and may lie in the key. Any thread.
    static int setFileKey(Kiv_FILE_KEY& key, Kiv_SUBSYSTEM fileSystem, const char* path, const char* host,
                          std::uint16_t port, Kiv_STM_PROTOCOL_ID protocol);

    static int setFileKey(Kiv_FILE_KEY& key, const Kiv_URL_KEY& url);
};

#endif
