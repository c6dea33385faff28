// The MPEG-4 file parser (mp4, m4a, 3gp and their kin).
#ifndef KIVUTILITY_MOBJMPEG4PARSER_H
#define KIVUTILITY_MOBJMPEG4PARSER_H

#include "MObjParser.h"

// kKivFmt_3gpp for a file whose major brand begins with "3gp" or "3g2", kKivFmt_Mpeg4 for any other with a
// movie header or a file type, also for one of QuickTime, from which the format comes. A file with a file
// type, items and no movie is a picture and not recognised.
//
// Frames are the samples of the first video track, as the sample tables tell and as counted in movie
// fragments, or of the first audio track where there is no video. The duration is that of the longest track
// with its edit list; that of fragments reaches from the first sample to the end of the last. The bit rate is
// the file's size over it. Of a file that was cut behind its movie atom the figures of the tables are the
// whole's. A movie in compressed form is recognised and not measured. The file was cut when an atom, or what
// a segment index lists, passes its end, when the movie is missing, or when no media data follows where
// samples were told of.
class KIV_API CMObjMpeg4Parser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
