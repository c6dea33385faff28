// Builds AVI files chunk by chunk.
#ifndef KIVUTILITY_TESTS_AVI_BUILDER_H
#define KIVUTILITY_TESTS_AVI_BUILDER_H

#include "media.h"

namespace test {

// A chunk with the padding that an odd size asks for.
inline Bytes Chunk(std::string_view id, const Bytes& content) {
    return Join({Text(id), Little(content.size()), content, Bytes(content.size() % 2)});
}

inline Bytes List(std::string_view type, const Bytes& content) {
    return Chunk("LIST", Join({Text(type), content}));
}

struct AviStream {
    const char* type   = "vids";
    unsigned    scale  = 1;
    unsigned    rate   = 25;
    unsigned    length = 0;
    Bytes       format = Bytes(40);

    Bytes Get() const {
        const Bytes header =
            Join({Text(type), Bytes(16), Little(scale), Little(rate), Little(0), Little(length), Bytes(20)});
        return List("strl", Join({Chunk("strh", header), Chunk("strf", format)}));
    }
};

// WAVEFORMATEX of sound with that many bytes a second in blocks of blockAlign.
inline Bytes WaveFormat(unsigned bytesPerSec, unsigned blockAlign) {
    return Join({Little(1, 2), Little(2, 2), Little(44100), Little(bytesPerSec), Little(blockAlign, 2),
                 Little(16, 2)});
}

struct AviFile {
    unsigned               microSecPerFrame = 40000;
    unsigned               totalFrames      = 0;
    std::vector<AviStream> streams          = {};
    unsigned               extendedFrames   = 0; // 0: no dmlh
    Bytes                  movie            = Bytes(1000, 'm');
    Bytes                  index            = {}; // content of idx1; empty: none
    Bytes                  beforeHeader     = {};
    std::size_t            mainHeaderBytes  = 56;

    Bytes MainHeader() const {
        Bytes header = Join({Little(microSecPerFrame), Bytes(12), Little(totalFrames), Bytes(36)});
        header.resize(mainHeaderBytes);
        return Chunk("avih", header);
    }

    Bytes HeaderList() const {
        Bytes content = MainHeader();
        for (const AviStream& stream : streams) content = Join({content, stream.Get()});
        if (extendedFrames != 0)
            content = Join({content, List("odml", Chunk("dmlh", Little(extendedFrames)))});
        return List("hdrl", content);
    }

    Bytes Get() const {
        Bytes content =
            Join({Text("AVI "), beforeHeader, HeaderList(), Chunk("JUNK", Bytes(37)), List("movi", movie)});
        if (!index.empty()) content = Join({content, Chunk("idx1", index)});
        return Chunk("RIFF", content);
    }
};

inline Bytes IndexEntry(std::string_view id, unsigned size) {
    return Join({Text(id), Bytes(8), Little(size)});
}

} // namespace test

#endif
