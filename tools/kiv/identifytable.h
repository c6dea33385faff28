// What `kiv identify` found out about a file, and the table of it.
#ifndef KIVTOOL_IDENTIFYTABLE_H
#define KIVTOOL_IDENTIFYTABLE_H

#include "KivUtility.h"

#include <cstdint>
#include <filesystem>
#include <string>

namespace tool {

struct Identity {
    std::string           problem; // why nothing could be found out; empty when it could
    std::uint64_t         bytes          = 0;
    Kiv_MEDIA_FORMAT_TYPE format         = kKivFmt_Unknown;
    unsigned long         bitRate        = 0; // bits per second; this and the next two are 0 when not known
    double                duration       = 0; // seconds
    unsigned long         frames         = 0;
    KivMeasureOrigin      bitRateOrigin  = kKivOrigin_None;
    KivMeasureOrigin      durationOrigin = kKivOrigin_None;
    KivMeasureOrigin      framesOrigin   = kKivOrigin_None;
    bool                  truncated      = false;

    bool Recognised() const { return format != kKivFmt_Unknown; }
};

// The lines of the table. On a terminal they are made to fit: the names lose their beginnings, and on a
// narrow one the formats keep only their abbreviations. Anywhere else nothing is cut.
class IdentifyTable {
public:
    // terminalColumns: 0 for no terminal. measured: with bit rates, durations and frames.
    IdentifyTable(int terminalColumns, bool measured);

    std::string Heading() const;
    std::string Row(const std::filesystem::path& path, const Identity& identity) const;

private:
    bool m_measured;
    bool m_named; // the formats stand there in words as well
    int  m_terminalColumns;

    std::string Line(const std::string& facts, const std::string& name) const;
};

} // namespace tool

#endif
