// What one parser says of a file's bytes, and how it had it, as one line for rows of tests.
#ifndef KIVUTILITY_TESTS_MEASURED_H
#define KIVUTILITY_TESTS_MEASURED_H

#include "media.h"

#include <sstream>

namespace test {

// What the parser says where `of` asks of a stream; the quick check must recognise as much.
template <class Parser, class Of> std::string MeasuredOf(Of of, Kiv_MEDIA_FORMAT_TYPE set) {
    const auto type = of([&](CKivBitStream& stream) {
        Parser quick;
        quick.SetMediaType(set);
        return quick.QuickCheck(&stream);
    });
    return of([&](CKivBitStream& stream) {
        Parser parser;
        parser.SetMediaType(set);
        EXPECT_EQ(parser.ParseFile(&stream), type) << "quick and full disagree";
        EXPECT_TRUE(type == kKivFmt_Unknown || type == parser.GetMediaType());
        std::ostringstream line;
        line << type << ": " << parser.GetFrames() << ' ' << KivMeasureOriginName(parser.GetFramesOrigin())
             << ", " << parser.GetDuration() << ' ' << KivMeasureOriginName(parser.GetDurationOrigin())
             << (parser.IsTruncated() ? ", cut" : "");
        return line.str();
    });
}

template <class Parser>
std::string MeasuredBlock(const Bytes& bytes, Kiv_MEDIA_FORMAT_TYPE set = kKivFmt_Unknown) {
    return MeasuredOf<Parser>([&](auto ask) { return OfBlock(bytes, ask); }, set);
}

// "8: 50 counted, 2 declared", for frames and seconds, with ", cut" for a truncated file. The bytes are given
// as a file and as a block, which must agree.
template <class Parser>
std::string Measured(const Bytes& bytes, Kiv_MEDIA_FORMAT_TYPE set = kKivFmt_Unknown) {
    static const TempFolder folder;
    const std::string       path = folder.Write("measured", bytes);
    std::string             line = MeasuredBlock<Parser>(bytes, set);
    EXPECT_EQ(MeasuredOf<Parser>([&](auto ask) { return OfFile(path, ask); }, set), line)
        << "file and block disagree";
    return line;
}

// Rows of bytes and what is measured of them.
template <class Parser> void ExpectMeasured(std::initializer_list<std::pair<Bytes, std::string>> rows) {
    for (int row = 0; const auto& [bytes, measured] : rows) {
        SCOPED_TRACE("row " + std::to_string(++row));
        EXPECT_EQ(Measured<Parser>(bytes), measured);
    }
}

} // namespace test

#endif
