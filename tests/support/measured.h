// What one parser says of a file's bytes, and how it had it, as one line for rows of tests.
#ifndef KIVUTILITY_TESTS_MEASURED_H
#define KIVUTILITY_TESTS_MEASURED_H

#include "media.h"

#include <sstream>

namespace test {

// "8: 50 counted, 2 declared", for frames and seconds, with ", cut" for a truncated file. The bytes are given
// as a file and as a block, which must agree, and the quick check must recognise as much.
template <class Parser>
std::string Measured(const Bytes& bytes, Kiv_MEDIA_FORMAT_TYPE set = kKivFmt_Unknown) {
    const auto tell = [&](CKivBitStream& stream, CKivBitStream& again) {
        Parser parser, quick;
        parser.SetMediaType(set);
        quick.SetMediaType(set);
        const auto type = parser.ParseFile(&stream);
        EXPECT_EQ(quick.QuickCheck(&again), type) << "quick and full disagree";
        EXPECT_TRUE(type == kKivFmt_Unknown || type == parser.GetMediaType());
        std::ostringstream line;
        line << type << ": " << parser.GetFrames() << ' ' << KivMeasureOriginName(parser.GetFramesOrigin())
             << ", " << parser.GetDuration() << ' ' << KivMeasureOriginName(parser.GetDurationOrigin())
             << (parser.IsTruncated() ? ", cut" : "");
        return line.str();
    };
    static const TempFolder folder;
    const std::string       path = folder.Write("measured", bytes);
    CKivBitStream           file, fileAgain, block, blockAgain;
    Bytes                   copy = Join({bytes, Bytes(1)}), copyAgain = copy; // streams may write to them
    file.SourceFromFile(path.c_str());
    fileAgain.SourceFromFile(path.c_str());
    block.SourceFromBuffer(copy.data(), static_cast<int>(bytes.size()));
    blockAgain.SourceFromBuffer(copyAgain.data(), static_cast<int>(bytes.size()));
    std::string line = tell(file, fileAgain);
    EXPECT_EQ(tell(block, blockAgain), line) << "file and block disagree";
    return line;
}

} // namespace test

#endif
