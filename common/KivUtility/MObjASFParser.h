// The ASF parser (asf, wmv, wma): duration by what the header tells, frames by walking through every data
// packet.
#ifndef KIVUTILITY_MOBJASFPARSER_H
#define KIVUTILITY_MOBJASFPARSER_H

#include "MObjParser.h"

// Recognises a header object that holds file properties, and gives kKivFmt_Asf, or kKivFmt_Wmv where that was
// set before. For anything else the media type stays what it was: that of the file's extension.
//
// Duration: the play duration less the preroll; of a broadcast, or where that is nothing, the time from the
// first media object to the end of the last, the last one lasting as long as its stream's average.
// Frames: the media objects of the video stream with the lowest number, else of the audio stream, counted in
// the payload headers; where none can be counted, duration over the average time a frame, if told.
// Bit rate: the file's size over the duration; without a duration the maximum that the header tells.
// Truncated: an object, or the file size that the header tells, passes the end; a broadcast's are not asked.
class KIV_API CMObjASFParser : public CMObjBaseParser {
protected:
    Kiv_MEDIA_FORMAT_TYPE ParseBitStream(CKivBitStream* stream, int quick) override;
};

#endif
