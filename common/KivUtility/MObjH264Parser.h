// The H.264 and AVS elementary stream parser.
#ifndef KIVUTILITY_MOBJH264PARSER_H
#define KIVUTILITY_MOBJH264PARSER_H

#include "KivString.h"
#include "MObjParser.h"

namespace kiv {
class StreamReader;
}

// kKivFmt_H264HikPlay or kKivFmt_H264DhPlay for a file whose name was told and that the maker's playback
// library is there to open: its duration is what the library tells, its frames are that at 25 a second.
// Otherwise kKivFmt_H264Mp4 for an H.264 byte stream (ISO/IEC 14496-10, annex B) and kKivFmt_Avs for an AVS
// stream (GB/T 20090.2), whose frames are counted; two fields are one frame. The duration is the time that
// these take at the rate that the stream tells, or at 25 frames a second, estimated, where it tells none.
class KIV_API CMObjH264Parser : public CMObjBaseParser {
public:
    // The path of the file that the stream was opened on: a playback library opens the file by itself, and
    // the stream may begin in the middle of a picture. Without it, the stream has to begin with a start code,
    // for any file may hold some further on. A null path is taken as none.
    void SetFileName(const char* path) { m_fileName = path; }

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;

private:
    CKivString m_fileName;

    bool AskPlaybackLibraries(int quick);

    template <class Pictures> bool Read(kiv::StreamReader& reader, int quick);
};

#endif
