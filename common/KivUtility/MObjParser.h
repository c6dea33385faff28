// The base of every media format parser.
#ifndef KIVUTILITY_MOBJPARSER_H
#define KIVUTILITY_MOBJPARSER_H

#include "KivBitStream.h"
#include "KivExport.h"
#include "KivMediaFormat.h"

#include <cstdint>

// How a measure was had.
enum KivMeasureOrigin : int {
    kKivOrigin_None,       // there is none
    kKivOrigin_Declared,   // the file's headers or tables tell it
    kKivOrigin_Timestamps, // from the times that its packets or pictures carry
    kKivOrigin_Counted,    // every frame was counted
    kKivOrigin_Estimated   // by a rule that may miss
};

// "none", "declared", "timestamps", "counted", "estimated"; "none" for any other value. Any thread.
KIV_API const char* KivMeasureOriginName(KivMeasureOrigin origin);

// Recognises one family of formats and measures its files. What was measured stays in the parser until the
// next ParseFile; what a format does not tell, or could not be measured, is 0.
// One thread at a time; separate parsers work in parallel.
class KIV_API CMObjBaseParser {
    // The order of the virtual operations is that of their slots, which programs linked earlier call by
    // number: new ones go behind the last.
public:
    // The bit rate, bits per second, at which the streaming server is configured to send files: the value
    // "FsBitRate" of "SOFTWARE\Halvorn\KivServer" under HKEY_LOCAL_MACHINE, read on every call, or 1024000
    // when it is not configured.
    virtual unsigned long GetRegBitRate();

    // Bytes.
    virtual unsigned long long GetFileSize();

    // Bits per second.
    virtual unsigned long GetBitRate();

    // Seconds.
    virtual float GetDuration();

    // Video frames, or audio frames where there is no video.
    virtual unsigned long GetFrames();

    virtual Kiv_MEDIA_FORMAT_TYPE GetMediaType();
    virtual void                  SetMediaType(Kiv_MEDIA_FORMAT_TYPE type);

protected:
    // Decides whether the stream, read from where it stands, is of this parser's format: its type, or
    // kKivFmt_Unknown. With quick = 0 it also fills bit rate, frames and duration, and refuses a stream that
    // it cannot measure where its format says so. The stream is left anywhere.
    virtual Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) = 0;

public:
    virtual ~CMObjBaseParser() = default;

    CMObjBaseParser()                                  = default;
    CMObjBaseParser(const CMObjBaseParser&)            = default;
    CMObjBaseParser& operator=(const CMObjBaseParser&) = default;

    // Both read the stream from where it stands, which must be a byte border; kKivFmt_Unknown for a null
    // stream. Decides the format and measures nothing.
    Kiv_MEDIA_FORMAT_TYPE QuickCheck(CKivBitStream* s);

    // Decides the format and measures the file.
    Kiv_MEDIA_FORMAT_TYPE ParseFile(CKivBitStream* s);

    // How each measure was had; kKivOrigin_None for one that is 0. A bit rate that is the file's size over
    // its duration was had as the duration was.
    KivMeasureOrigin GetBitRateOrigin() const;
    KivMeasureOrigin GetDurationOrigin() const;
    KivMeasureOrigin GetFramesOrigin() const;

    // Whether the measured file ends before what it tells of itself does. Where a format tells nothing that
    // shows it, false.
    bool IsTruncated() const;

protected:
    struct Measure {
        double           value;
        KivMeasureOrigin origin;
    };

    // Sets frames, duration in seconds and bit rate in bits per second, each cut to what its field holds.
    void SetMeasures(Measure frames, Measure seconds, Measure bitsPerSecond);

    // The same with the file's size over the duration as the bit rate.
    void SetMeasures(Measure frames, Measure seconds);

    // No measures, not truncated.
    void ClearMeasures();

    unsigned long long    m_fileSize  = 0;
    std::uint32_t         m_bitRate   = 0;
    std::uint32_t         m_frames    = 0;
    float                 m_duration  = 0;
    Kiv_MEDIA_FORMAT_TYPE m_mediaType = kKivFmt_Unknown;
    bool                  m_truncated = false;

private:
    KivMeasureOrigin m_bitRateOrigin  = kKivOrigin_None;
    KivMeasureOrigin m_durationOrigin = kKivOrigin_None;
    KivMeasureOrigin m_framesOrigin   = kKivOrigin_None;
};

#endif
