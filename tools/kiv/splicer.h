// Joining files into one stream, as a server sends it.
#ifndef KIVTOOL_SPLICER_H
#define KIVTOOL_SPLICER_H

#include "KivUtility.h"
#include "outputfile.h"
#include "progress.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace tool {

// A file that is to be joined to others.
struct SpliceInput {
    std::filesystem::path path;
    std::string           name;       // as the library takes it
    std::uint64_t         bytes  = 0; // its size
    Kiv_MEDIA_FORMAT_TYPE format = kKivFmt_Unknown;
    KivStreamFacts        facts;
};

// What became of a file's bytes: bytes = Taken() + rewritten + Dropped() + Withheld().
struct SpliceAccount {
    std::uint64_t   seam = 0; // where in the output its part begins, which is the stream header, if any
    std::uint64_t   sent = 0; // the length of that part
    KivSpliceCounts counts;
    std::uint64_t   bytes        = 0; // of the file
    unsigned        failedChecks = 0; // of the library's: something in the file is not as it should be
    std::string     firstFailedCheck;

    // Went out, as they were or written over.
    std::uint64_t Passed() const {
        return sent - counts.headerBytes - counts.audioBytes - counts.filledBytes - counts.endBytes;
    }

    std::uint64_t Taken() const { return Passed() - counts.rewritten; }

    std::uint64_t Dropped() const { return counts.droppedEarly + counts.droppedAudio + counts.droppedVideo; }

    // What was still waiting for bytes behind it when the file ended.
    std::uint64_t Withheld() const { return bytes - Passed() - Dropped(); }
};

// How files of a format are joined.
struct SpliceWay {
    Kiv_MEDIA_FORMAT_TYPE format;
    Kiv_MEDIA_FORMAT_TYPE as;             // the format that the concatenator is told
    bool                  headerEachFile; // for each file, instead of telling that the source was rewound
    bool                  endCode;        // the output ends with that of MPEG program streams
};

// Null for a format whose files cannot be joined.
const SpliceWay* FindSpliceWay(Kiv_MEDIA_FORMAT_TYPE format);

// Joins the files, all of one format, into `output`, which gets them in pieces of chunkBytes (1 to
// kMostSpliceChunk) but for the last one of each file. Returns their accounts in order; throws, naming the
// file, when one cannot be read or joined.
std::vector<SpliceAccount> Splice(const std::vector<SpliceInput>& inputs, const SpliceWay& way,
                                  long chunkBytes, OutputFile& output, Progress& progress);

inline constexpr long kMostSpliceChunk = 1 << 20;

} // namespace tool

#endif
