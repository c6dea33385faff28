// The H.264 and AVS elementary stream parser. It takes part by extension and recognises no content yet.
#ifndef KIVUTILITY_MOBJH264PARSER_H
#define KIVUTILITY_MOBJH264PARSER_H

#include "KivString.h"
#include "MObjParser.h"

class KIV_API CMObjH264Parser : public CMObjBaseParser {
public:
    // The path of the file that the stream was opened on: a playback library opens the file by itself. A null
    // path is taken as none.
    void SetFileName(const char* path) { m_fileName = path; }

protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;

private:
    CKivString m_fileName;
};

#endif
