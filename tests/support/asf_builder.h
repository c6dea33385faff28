// Builds the headers of ASF files, object by object.
#ifndef KIVUTILITY_TESTS_ASF_BUILDER_H
#define KIVUTILITY_TESTS_ASF_BUILDER_H

#include "media.h"

namespace test {

inline Bytes AsfGuid(unsigned first, unsigned second, const char* rest) {
    return Join({Little(first), Little(second, 2), Little(0x11CF, 2), Text({rest, 8})});
}

constexpr char kAsfTail[]      = "\xA6\xD9\0\xAA\0\x62\xCE\x6C",
               kAsfMediaTail[] = "\xA8\xFD\0\x80\x5F\x5C\x44\x2B";

inline const Bytes kAsfHeader = AsfGuid(0x75B22630, 0x668E, kAsfTail);
inline const Bytes kAsfData   = AsfGuid(0x75B22636, 0x668E, kAsfTail);
inline const Bytes kAsfFile   = AsfGuid(0x8CABDCA1, 0xA947, "\x8E\xE4\0\xC0\x0C\x20\x53\x65");
inline const Bytes kAsfStream = AsfGuid(0xB7DC0791, 0xA9B7, "\x8E\xE6\0\xC0\x0C\x20\x53\x65");
inline const Bytes kAsfVideo  = AsfGuid(0xBC19EFC0, 0x5B4D, kAsfMediaTail);
inline const Bytes kAsfAudio  = AsfGuid(0xF8699E40, 0x5B4D, kAsfMediaTail);

inline Bytes AsfObject(const Bytes& id, const Bytes& content) {
    return Join({id, Little(content.size() + 24, 8), content});
}

// The file properties: 104 bytes.
struct AsfProperties {
    unsigned    flags = 2, packetSize = 200, mostPacketSize = packetSize, seconds = 5, preroll = 3000;
    std::size_t fileSize = 0;

    Bytes Get() const {
        const Bytes times = Join({Little(seconds * 10000000ULL, 8), Bytes(8), Little(preroll, 8)});
        const Bytes sizes = Join({Little(packetSize), Little(mostPacketSize), Little(800000)});
        return AsfObject(kAsfFile,
                         Join({Bytes(16), Little(fileSize, 8), Bytes(16), times, Little(flags), sizes}));
    }
};

// Behind the stream's number its media type.
inline Bytes AsfStreamObject(const Bytes& kind, unsigned number, const Bytes& mediaType = Bytes(31)) {
    return AsfObject(kAsfStream, Join({kind, Bytes(32), Little(number, 2), Bytes(4), mediaType}));
}

inline Bytes AsfHeaderObject(const Bytes& objects) {
    return AsfObject(kAsfHeader, Join({Bytes(6), objects}));
}

} // namespace test

#endif
