// The manager that finds the parser for a media file or memory block.
#ifndef KIVUTILITY_MOBJPARSERMGR_H
#define KIVUTILITY_MOBJPARSERMGR_H

#include "MObjParser.h"

#include <memory>

// Picks a parser by the file's extension where that names a format with a parser of its own, and by trying
// the stream parsers in a fixed order otherwise.
//
// The parser that a call returns belongs to the manager and lives until the manager's next parse or
// checkFormat call or its destruction.
// One thread at a time; separate managers work in parallel.
class KIV_API CMObjParserMgr {
public:
    CMObjParserMgr()                                 = default;
    CMObjParserMgr(const CMObjParserMgr&)            = delete;
    CMObjParserMgr& operator=(const CMObjParserMgr&) = delete;
    ~CMObjParserMgr()                                = default;

    // Recognises and measures a file. A file that cannot be opened, or that no parser recognises, gives a
    // CMObjUnknownParser. The extensions asf, wmv, wma, mov, qt, mp4, 264, rm, ra, ram and rmvb alone decide
    // the parser, whatever the file holds. Null only without memory.
    CMObjBaseParser* parse(const char* path);

    // The same for `length` bytes at `data`, which are copied first; always by content. A block of MPEG that
    // ends before the search for an extension start code does, about 8.7 kB, is recognised by checkFormat but
    // cannot be measured, and so is unknown here.
    CMObjBaseParser* parse(const unsigned char* data, int length);

    // The format alone, without measuring; kKivFmt_Unknown when it is not recognised. A file with an ASF
    // extension (asf alone) is not read and not recognised, and only the parsers of AVI, MPEG and MP3 are
    // asked: the others are for parse.
    Kiv_MEDIA_FORMAT_TYPE checkFormat(const char* path);
    Kiv_MEDIA_FORMAT_TYPE checkFormat(const unsigned char* data, int length);

    // The same for an open stream, from its start; kKivFmt_Unknown for a null stream.
    Kiv_MEDIA_FORMAT_TYPE checkBitStreamFormat(CKivBitStream* stream);

protected:
    // As parse, for an open stream.
    CMObjBaseParser* parseBitStream(CKivBitStream* stream);

private:
    std::unique_ptr<CMObjBaseParser> m_parser;

    template <class Work> auto                    OrUnknown(Work work) -> decltype(work());
    template <class Rewind> Kiv_MEDIA_FORMAT_TYPE CheckByTrials(CKivBitStream* stream, Rewind rewind);
    template <class Rewind> CMObjBaseParser*      ParseByTrials(CKivBitStream* stream, Rewind rewind);
    CMObjBaseParser*                              HoldUnknown();
    CMObjBaseParser* ParseByExtension(const char* path, const char* extension, CKivBitStream* stream);
};

#endif
