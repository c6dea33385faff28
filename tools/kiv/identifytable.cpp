// The table of files and their formats.
#include "identifytable.h"

#include "formatname.h"
#include "names.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace tool {

namespace {

constexpr int kFormatColumns    = 6;
constexpr int kSizeColumns      = 12;
constexpr int kBitRateColumns   = 7;
constexpr int kDurationColumns  = 10;
constexpr int kFramesColumns    = 8;
constexpr int kLeastForNames    = 36; // columns that the names shall have before the formats come in words
constexpr int kLeastNameColumns = 12;

std::string Left(const std::string& text, int columns) {
    return text + std::string(static_cast<std::size_t>(std::max(columns - Columns(text), 0)), ' ');
}

// A further column, on the right of its room.
std::string Right(const std::string& text, int columns) {
    return "  " + std::string(static_cast<std::size_t>(std::max(columns - Columns(text), 0)), ' ') + text;
}

// An estimate is told from what is known.
std::string Marked(const std::string& text, KivMeasureOrigin origin) {
    return origin == kKivOrigin_Estimated ? "~" + text : text;
}

std::string Measure(unsigned long value) { return value != 0 ? std::to_string(value) : "-"; }

std::string KilobitsText(unsigned long bitsPerSecond) {
    return bitsPerSecond != 0 ? std::to_string((bitsPerSecond + 500) / 1000) : "-";
}

// 1:02:03.4
std::string DurationText(double seconds) {
    constexpr double kLongest = 1e9;
    if (!(seconds > 0 && seconds < kLongest)) return "-";
    const long long tenths = std::llround(seconds * 10);
    char            text[32];
    std::snprintf(text, sizeof text, "%lld:%02lld:%02lld.%lld", tenths / 36000, tenths / 600 % 60,
                  tenths / 10 % 60, tenths % 10);
    return text;
}

std::string FormatText(const Identity& identity) {
    if (identity.bytes == 0) return "empty";
    return static_cast<const char*>(Kiv_FormatTypeToAbbreviation(identity.format));
}

std::string Facts(const std::string& format, const std::string* inWords, const std::string& size) {
    return Left(format, kFormatColumns)
           + (inWords != nullptr ? "  " + Left(*inWords, kFormatNameColumns) : "")
           + Right(size, kSizeColumns);
}

std::string Measures(const std::string& bitRate, const std::string& duration, const std::string& frames) {
    return Right(bitRate, kBitRateColumns) + Right(duration, kDurationColumns)
           + Right(frames, kFramesColumns);
}

} // namespace

IdentifyTable::IdentifyTable(int terminalColumns, bool measured)
    : m_measured(measured), m_named(true), m_terminalColumns(terminalColumns) {
    m_named = terminalColumns == 0 || terminalColumns - Columns(Heading()) >= kLeastForNames;
}

std::string IdentifyTable::Heading() const {
    const std::string inWords = "KIND";
    std::string       facts   = Facts("FORMAT", m_named ? &inWords : nullptr, "BYTES");
    if (m_measured) facts += Measures("KBIT/S", "DURATION", "FRAMES");
    return Line(facts, "FILE");
}

std::string IdentifyTable::Row(const std::filesystem::path& path, const Identity& identity) const {
    const std::string inWords  = FormatName(identity.format);
    const std::string size     = std::to_string(identity.bytes) + (identity.truncated ? "+" : "");
    std::string       facts    = Facts(FormatText(identity), m_named ? &inWords : nullptr, size);
    const std::string measures = Measures(Marked(KilobitsText(identity.bitRate), identity.bitRateOrigin),
                                          Marked(DurationText(identity.duration), identity.durationOrigin),
                                          Marked(Measure(identity.frames), identity.framesOrigin));
    // where there is no room for the formats in words, the one that matters takes the measures' place
    if (m_measured)
        facts += m_named || identity.Recognised() ? measures : "  " + Left(inWords, Columns(measures) - 2);
    return Line(facts, Shown(path));
}

std::string IdentifyTable::Line(const std::string& facts, const std::string& name) const {
    const int room = std::max(m_terminalColumns - Columns(facts) - 2, kLeastNameColumns);
    return facts + "  " + (m_terminalColumns == 0 ? name : CutToFit(name, room)) + "\n";
}

} // namespace tool
