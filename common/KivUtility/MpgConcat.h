// Splicing of separately encoded media files into one continuous stream.
#ifndef KIVUTILITY_MPGCONCAT_H
#define KIVUTILITY_MPGCONCAT_H

#include "KivDynaBuffer.h"
#include "KivExport.h"
#include "KivMediaFormat.h"
#include "KivPlatform.h"
#include "KivString.h"

#include <cstddef>
#include <cstdint>
#include <span>

enum CONCAT_STATUS : int {
    UNKNOWN            = 0, // never entered
    COLLECTING_DATA    = 1, // the new file's bytes are withheld until a splice point is found
    CONCATENATING_DATA = 2, // the splice went out; bytes pass until the next audio packet starts
    PIPING_DATA        = 3  // bytes pass
};

// What became of the bytes of the file under way, since the last SetHeader() or Rewinded(): for reports. A
// byte of a file that is in none of the dropped ones went out, is pending, or waits for bytes behind it.
struct KivSpliceCounts {
    // Sent besides the file's own bytes.
    unsigned long long headerBytes = 0; // stream header, in front of the file
    unsigned long long audioBytes  = 0; // rebuilt audio packet behind it, from what was dropped as too early
    unsigned long long filledBytes = 0; // the rest of a video packet's header that the file cuts
    unsigned long long endBytes    = 0; // end of the stream

    // Written over, whether or not their values changed.
    unsigned long long rewritten       = 0; // of the file's bytes behind the splice point: packet lengths
    unsigned long long headerRewritten = 0; // of the stream header: clock, time stamps, ASF flags

    unsigned long long droppedEarly = 0; // before the splice point
    unsigned long long droppedAudio = 0; // behind it: audio earlier than the first video
    unsigned long long droppedVideo = 0; // behind it: pictures that refer to the file before, their packets

    bool               clockWritten = false;
    unsigned long      clock        = 0; // of the header's pack, 32 bits of 90 kHz
    bool               stampWritten = false;
    unsigned long long stamp        = 0; // of the header's video packet as players read it, 33 bits of 90 kHz
};

// Turns files of one format into one stream, as a server sends it: SetHeader() with the first file's stream
// header, PullData() with each piece of a file as it is read, Rewinded() whenever the source jumps to the
// start of the next file, EndOfStream() behind the last one, then OutputData() to drain.
//
// At a seam the next file's bytes are withheld until a clean splice point; what lies before it is dropped.
// The first file's header goes out in front of it, with the clock moved to the new pack's, and the audio
// packet across the seam is rebuilt. Outside of seams bytes pass through and come out in exactly the amounts
// asked for. docs/splicing.md tells what each format needs.
//
// A failed consistency check is reported as an error event with a pop-up, and the work goes on.
// One object serves one stream, one thread at a time.
class KIV_API CMpegStreamConcatenator {
public:
    CMpegStreamConcatenator() { reset(0); }

    // Deep copies. The source stays as it is.
    CMpegStreamConcatenator(CMpegStreamConcatenator& other)            = default;
    CMpegStreamConcatenator& operator=(CMpegStreamConcatenator& other) = default;
    ~CMpegStreamConcatenator()                                         = default;

    // Drops all that is pending and collected and forgets the format; with keepHeader 0 the header as well.
    void reset(int keepHeader);

    // Takes the first file's stream header. Of the headers of MPEG-1 system streams the audio in front of the
    // first video packet is cut out, also out of `head`. Returns 1.
    int SetHeader(CKivDynaBuffer& head, Kiv_MEDIA_FORMAT_TYPE type);

    // The source has moved to the start of the next file. Drops what is pending: drain it first.
    void Rewinded();

    // How many bytes are missing for a delivery of bytesWants; 0 when it is already pending.
    long CanPullData(long bytesWants);

    // Takes the bytes in `data` and returns in it either bytesWants bytes of output or none. Returns how many
    // are still missing; 0 when `data` was filled, and also, with `data` left as it was, when the ASF header
    // cannot be used. A negative bytesWants is reported and taken as 0.
    long PullData(CKivDynaBuffer& data, long bytesWants);

    // The same without looking for a splice point.
    long OutputData(CKivDynaBuffer& data, long bytesWants);

    // Appends what ends an MPEG program stream, behind eight bytes of stuffing.
    void EndOfStream();

    const KivSpliceCounts& GetSpliceCounts() const { return m_counts; }

    // One line for a log.
    void ReportStatus(CKivString& out);

protected:
    // The steps of a splice, on the buffers that they are given.
    CONCAT_STATUS CollectData(CKivDynaBuffer& in, CKivDynaBuffer& out, CKivDynaBuffer& audio);
    CONCAT_STATUS ConcatAudioHead(CKivDynaBuffer& in, CKivDynaBuffer& out, CKivDynaBuffer& audio);
    long          PipeData(CKivDynaBuffer& data, long bytesWants);
    long          MP2ConcatHandler(CKivDynaBuffer& data, long bytesWants);

    // Editing of program streams.
    int  GetGop(CKivDynaBuffer& data, CKivDynaBuffer& gop, int& hasSeqHead);
    void AdjustGopPack(CKivDynaBuffer& pack, int videoIdx, int seqRel, int gopRel, int hasSeqHead);
    void AdjustHeader(CKivDynaBuffer& header, const CKivDynaBuffer& gop, int hasSeqHead);
    int  GetPack(CKivDynaBuffer& pack, CKivDynaBuffer& buffer);
    int  CutAudio(CKivDynaBuffer& pack, const CKivDynaBuffer& gop);
    int  EjectBFramesInOutBuffer(CKivDynaBuffer& out);

    // Searches for a transport packet, 0 when there is none, and for a frame of MPEG audio, -1 when there is
    // none.
    int findMTSSyncWord(const CKivDynaBuffer& buffer, int start, int length);
    int findMPASyncWord(const CKivDynaBuffer& buffer, int start, int from, int to, int flag);

    // ASF: the header object, and the start of data packets.
    GUID GetAsfGuid(const unsigned char* bytes);
    int  AsfHeadAnalyse(CKivDynaBuffer& header);
    int  AsfPackHandler(CKivDynaBuffer& data);

private:
    CKivDynaBuffer m_pending;       // output
    unsigned long  m_delivered = 0; // bytes at its front that have gone out
    CKivDynaBuffer m_inBuffer;      // of the current file, while a splice is sought
    CKivDynaBuffer m_header;        // stream header of the first file
    CKivDynaBuffer m_audioBuffer;   // rebuilt first audio packet of the file being spliced
    CONCAT_STATUS  m_status = PIPING_DATA;

    int m_formatType = kKivFmt_Unknown; // as SetHeader() got it, until the next reset
    int m_headerFormatType =
        kKivFmt_Unknown; // the same, kept when the source is rewound: it chooses the path

    bool m_ignoreAudioHeader = false; // the audio packet is none of ISO/IEC 13818-1: it is not repaired
    bool m_audioPackFound    = false; // while collecting, for the status line
    bool m_dataPackFound     = false;
    bool m_seqHeadFound      = false;
    bool m_firstPull         = true;  // the header has not gone out
    bool m_synced            = false; // found where the file's packs or packets begin

    int            m_mp2Stage = 0; // of MPEG-2 program streams
    CKivDynaBuffer m_mp2SeqHead;   // of the header, from the sequence header to the first audio packet
    CKivDynaBuffer m_gop;          // time stamp of the video packet that the new file's first group is in
    int            m_gopHasSeqHead = 0; // a sequence header stands in front of that group
    CKivDynaBuffer m_packRemainder;     // behind the last complete pack
    unsigned long  m_searched = 0;      // bytes of m_inBuffer or m_packRemainder that were searched in vain
    bool m_remainderHasAudio  = false;  // among those of m_packRemainder stands an audio packet's code

    KivSpliceCounts m_counts;

    int           m_asfFlag   = 0; // the header declares error correction
    std::uint32_t m_asfOffset = 0; // size of a data packet in bytes

    long PendingSize() const { return m_pending.GetSize() - static_cast<long>(m_delivered); }

    void SettlePending();
    bool AppendPending(std::span<const unsigned char> bytes);
    void SendHeader();
    void DropEarly(CKivDynaBuffer& data, std::ptrdiff_t count);
    void Drop(CKivDynaBuffer& buffer, std::ptrdiff_t from, std::ptrdiff_t to, unsigned long long& counter);
    bool BeginAsf(CKivDynaBuffer& data);
    void BeginMpeg1(CKivDynaBuffer& data);
    long SpliceAndPipe(CKivDynaBuffer& data, long bytesWants);
    void TrimAudio(CKivDynaBuffer& data);

    CONCAT_STATUS Collect(CKivDynaBuffer& in, CKivDynaBuffer& out, CKivDynaBuffer& audio,
                          unsigned long& searched);
    CONCAT_STATUS CollectProgramStream(CKivDynaBuffer& in, CKivDynaBuffer& out, CKivDynaBuffer& audio);
    CONCAT_STATUS Splice(CKivDynaBuffer& in, CKivDynaBuffer& out, const CKivDynaBuffer& audio,
                         std::ptrdiff_t packAt);
};

#endif
