// The MPEG parsers: video elementary streams, Video CD files, MPEG-1 system and MPEG-2 program streams,
// transport streams; and the extraction of their stream headers.
#ifndef KIVUTILITY_MOBJMPGPARSER_H
#define KIVUTILITY_MOBJMPGPARSER_H

#include "KivDynaBuffer.h"
#include "MObjParser.h"

namespace kiv {
class StreamReader;
}

// The start-code search, the extractors and the measuring that the four parsers share.
//
// The extractors copy header structures from the stream, which stands at the structure's first byte, to the
// end of `out`, and leave the stream behind what they looked at. They return 1, or 0 on failure; what was
// copied by then stays in `out`. Where the stream ends within a structure, its last bytes may be left out.
class KIV_API CMObjMpgBaseParser : public CMObjBaseParser {
protected:
    // Looks at the next nBits (1..32) for `code` and skips stepBits where they differ: 1 when found (the code
    // is not consumed), 0 after 64000 looks or at the end of the stream.
    int FindCode(CKivBitStream* s, unsigned long code, int nBits, int stepBits);

    // Moves n bytes from the stream to the end of `out`: 1, also for n below 1; 0 when the stream ends before
    // or the buffer cannot grow.
    int PutByteToWriter(CKivBitStream* s, CKivDynaBuffer* out, int n);

    // The pack header (ISO/IEC 11172-1, 2.4.3.2; ISO/IEC 13818-1, 2.5.3.3). That of an MPEG-2 pack is made to
    // declare no stuffing, which is not copied.
    int ExtractPackHeader(CKivBitStream* s, CKivDynaBuffer* out);

    // The system header (ISO/IEC 13818-1, 2.5.3.5), and the start codes of the last video and audio stream
    // that it lists; a code whose kind it does not list stays as it was.
    int ExtractSystemHeader(CKivBitStream* s, CKivDynaBuffer* out, unsigned long& videoCode,
                            unsigned long& audioCode);

    // A PES packet header of video up to the end of the sequence header in it, its packet length made to
    // match what was copied. 0 for a packet header that no time stamp follows.
    int ExtractVideoPack(CKivBitStream* s, CKivDynaBuffer* out);

    // The same for audio, up to the header of the first audio frame.
    int ExtractAudioPack(CKivBitStream* s, CKivDynaBuffer* out);

    // The sequence header (ISO/IEC 13818-2, 6.2.2.1) with its quantiser matrices, and the sequence extensions
    // and sequence display extensions behind it. Always 1.
    int ExtractSequenceHeader(CKivBitStream* s, CKivDynaBuffer* out);

    // The PAT packets of a transport stream up to the one whose PMT packet follows it directly, and that PMT
    // packet. 0 when the stream ends without.
    int ExtractMpeg2TStreamHeader(CKivBitStream* s, CKivDynaBuffer* out);

    // Reads the PAT in the transport packet at the current position, without moving: 1 and the PID of the
    // first program's PMT, or 0 and 0. `out` takes no part.
    int FindPID4PMT(CKivBitStream* s, CKivDynaBuffer* out, unsigned long& pid);

    // Measures the whole stream by the times in its group of pictures headers (ISO/IEC 13818-2, 6.3.8): sets
    // frames, duration and bit rate and returns 1, or returns 0 when the headers span no time.
    int ParseGroupOfPictures(CKivBitStream* s);

    // Ends a ParseBitStream: sets and returns the recognised type, or kKivFmt_Unknown where a full parse
    // cannot measure the stream.
    Kiv_MEDIA_FORMAT_TYPE Conclude(Kiv_MEDIA_FORMAT_TYPE recognised, CKivBitStream* stream, int quick);

    // The same, and where it was measured has `isCut` tell from the stream's bytes whether it was cut.
    using IsCut = bool (*)(kiv::StreamReader& reader);
    Kiv_MEDIA_FORMAT_TYPE Conclude(Kiv_MEDIA_FORMAT_TYPE recognised, CKivBitStream* stream, int quick,
                                   IsCut isCut);

    // Whether a transport packet's sync byte is next and those of the two packets behind it follow.
    static bool AtTransportPackets(CKivBitStream* s);

private:
    class PacketLength;

    bool CopyPacketStart(CKivBitStream* s, CKivDynaBuffer* out, PacketLength& length);
    bool CopyMpeg1PacketHeader(CKivBitStream* s, CKivDynaBuffer* out);
    void ExtractSequenceExtension(CKivBitStream* s, CKivDynaBuffer* out);

    template <class Reached> void CopyUntil(CKivBitStream* s, CKivDynaBuffer* out, Reached reached);
};

// MPEG-1 and MPEG-2 video elementary streams: kKivFmt_Mpeg1Video.
class KIV_API CMObjMpg1VideoParser : public CMObjMpgBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

// Video CD files in their RIFF/CDXA wrapper: kKivFmt_Mpeg1Vcd.
class KIV_API CMObjMpg1VcdParser : public CMObjMpgBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

// MPEG-1 system and MPEG-2 program streams: kKivFmt_Mpeg1System, kKivFmt_Mpeg2Program, or
// kKivFmt_Mpeg2System for MPEG-2 video in MPEG-1 packs.
class KIV_API CMObjMpgSystemParser : public CMObjMpgBaseParser {
public:
    // Builds the stream header of the whole file, which a server sends ahead of the stream, into `out`: pack
    // header, system header and the first video and audio packet headers of a pack stream; the PAT and PMT
    // of a transport stream; the sequence header of a video stream; the frame header of an audio stream.
    // Rewinds the stream first and empties `out`. Returns 1 when anything was copied, otherwise 0.
    int getHeader(CKivBitStream* s, CKivDynaBuffer* out);

    // The same into the caller's `max` bytes at `dest`: the bytes written, or 0 when there is no header or it
    // is longer than `max`; then `dest` is untouched.
    int getHeader(CKivBitStream* s, unsigned char* dest, int max);

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;

private:
    void ExtractPackStreamHeader(CKivBitStream* s, CKivDynaBuffer* out);
};

// Transport streams of 188-byte packets: kKivFmt_Mpeg2Transport, or kKivFmt_Mpeg1System where the video
// shows no MPEG-2 extension.
class KIV_API CMObjMpgTransportParser : public CMObjMpgBaseParser {
public:
    // Always 0: CMObjMpgSystemParser builds the header of a transport stream as well.
    int getHeader(CKivBitStream* s, CKivDynaBuffer* out);
    int getHeader(CKivBitStream* s, unsigned char* dest, int max);

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;

private:
    static Kiv_MEDIA_FORMAT_TYPE Recognise(CKivBitStream* stream);
};

#endif
