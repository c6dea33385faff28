// What is told of a splice, as text and as JSON.
#include "splicereport.h"

#include "formatname.h"
#include "names.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace tool {

namespace {

std::string Number(unsigned long number, const char* unit) {
    return number == 0 ? std::string() : std::to_string(number) + unit;
}

// What a player cannot tell apart is one format: asf and wmv are by the file's extension alone.
std::string FormatText(const SpliceInput& input) {
    return FormatName(input.format == kKivFmt_Wmv ? kKivFmt_Asf : input.format);
}

// 25, 29.97
std::string FrameRateText(const SpliceInput& input) {
    const KivStreamFacts& facts = input.facts;
    if (facts.frameRatePer == 0) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.5g a second",
                  static_cast<double>(facts.frameRate) / static_cast<double>(facts.frameRatePer));
    return text;
}

std::string CodecText(const SpliceInput& input) {
    std::string text;
    for (int shift = 0; input.facts.videoCodec != 0 && shift < 32; shift += 8)
        text += static_cast<char>(input.facts.videoCodec >> shift & 0xFF);
    return ShownText(text);
}

std::string SoundText(const SpliceInput& input) {
    const KivStreamFacts& facts = input.facts;
    switch (facts.sound) {
    case kKivSound_None: return "none";
    case kKivSound_Mpeg:
        return facts.audioLayer == 0 ? std::string() : "MPEG layer " + std::string(facts.audioLayer, 'I');
    case kKivSound_Ac3: return "AC-3";
    case kKivSound_EAc3: return "E-AC-3";
    case kKivSound_Dts: return "DTS";
    case kKivSound_Lpcm: return "LPCM";
    case kKivSound_Aac: return "AAC";
    case kKivSound_Wave: return "format " + std::to_string(facts.audioFormat);
    default: return {};
    }
}

std::string PacketText(const SpliceInput& input) {
    const KivStreamFacts& facts = input.facts;
    const std::string     least = Number(facts.leastPacket, "");
    return facts.leastPacket == facts.mostPacket ? least : least + " to " + std::to_string(facts.mostPacket);
}

struct Fact {
    const char* name;
    bool        forbidsJoining; // to players the joined file would be damaged: one header tells it for all
    std::string (*text)(const SpliceInput&); // empty where it is not known
};

constexpr Fact kFacts[] = {
    {"format", true, FormatText},
    {"packet size", true, PacketText},
    {"width", false, [](const SpliceInput& input) { return Number(input.facts.width, ""); }},
    {"height", false, [](const SpliceInput& input) { return Number(input.facts.height, ""); }},
    {"pictures", false, FrameRateText},
    {"codec", false, CodecText},
    {"sound", false, SoundText},
    {"sampling", false, [](const SpliceInput& input) { return Number(input.facts.samplesSecond, " Hz"); }},
};

// Whether two files know the fact and do not agree.
bool Differs(const Fact& fact, const std::vector<SpliceInput>& inputs) {
    std::string known;
    return std::ranges::any_of(inputs, [&](const SpliceInput& input) {
        const std::string text = fact.text(input);
        if (known.empty()) known = text;
        return !text.empty() && text != known;
    });
}

std::string Column(const std::string& text) {
    constexpr int kColumns = 18;
    return text + std::string(static_cast<std::size_t>(std::max(kColumns - Columns(text), 1)), ' ');
}

// The numbers of an account, as JSON names them and as text does.
struct Figure {
    const char *key, *text;
    std::uint64_t (*value)(const SpliceAccount&);
};

constexpr Figure kFigures[] = {
    {"seam", "begins in the output at", [](const SpliceAccount& a) { return a.seam; }},
    {"header", "stream header sent ahead",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.headerBytes}; }},
    {"header_rewritten", "of it written over",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.headerRewritten}; }},
    {"rebuilt_audio", "audio sent ahead, rebuilt",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.audioBytes}; }},
    {"taken", "taken over", [](const SpliceAccount& a) { return a.Taken(); }},
    {"rewritten", "taken over with other lengths of packets",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.rewritten}; }},
    {"dropped_early", "dropped in front of the place to join",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedEarly}; }},
    {"dropped_audio", "dropped, audio before the first picture",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedAudio}; }},
    {"dropped_video", "dropped, pictures of the group before",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedVideo}; }},
    {"withheld", "dropped, not complete at its end", [](const SpliceAccount& a) { return a.Withheld(); }},
    {"filled", "put in where a packet's header was cut",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.filledBytes}; }},
    {"end", "end of the stream", [](const SpliceAccount& a) { return std::uint64_t{a.counts.endBytes}; }},
};

struct Time {
    const char *key, *text;
    std::optional<std::uint64_t> (*value)(const KivSpliceCounts&);
};

// Written into the stream header.
constexpr Time kTimes[] = {
    {"clock", "clock",
     [](const KivSpliceCounts& c) {
         return c.clockWritten ? std::optional<std::uint64_t>(c.clock) : std::nullopt;
     }},
    {"time_stamp", "time stamp",
     [](const KivSpliceCounts& c) {
         return c.stampWritten ? std::optional<std::uint64_t>(c.stamp) : std::nullopt;
     }},
};

} // namespace

std::string DifferenceTable(const std::vector<SpliceInput>& inputs, Differences which) {
    std::vector<Fact> facts;
    std::ranges::copy_if(kFacts, std::back_inserter(facts), [&](const Fact& fact) {
        return (fact.forbidsJoining || which == Differences::kAll) && Differs(fact, inputs);
    });
    if (facts.empty()) return {};
    std::string table;
    for (const Fact& fact : facts) table += Column(fact.name);
    table += "file\n";
    for (const SpliceInput& input : inputs) {
        for (const Fact& fact : facts) {
            const std::string text = fact.text(input);
            table += Column(text.empty() ? "?" : text);
        }
        table += Shown(input.path) + "\n";
    }
    return table;
}

std::string AccountText(const SpliceInput& input, const SpliceAccount& account) {
    std::string text = Shown(input.path) + ": " + FormatName(input.format) + ", "
                       + std::to_string(account.bytes) + " bytes\n";
    char line[96];
    for (const Figure& figure : kFigures) {
        const auto value = static_cast<unsigned long long>(figure.value(account));
        if (value == 0 && figure.value != kFigures[0].value) continue;
        std::snprintf(line, sizeof line, "%14llu  %s\n", value, figure.text);
        text += line;
    }
    for (const Time& time : kTimes) {
        const auto value = time.value(account.counts);
        if (!value) continue;
        std::snprintf(line, sizeof line, "%14llu  %s written into the header, of 90000 a second\n",
                      static_cast<unsigned long long>(*value), time.text);
        text += line;
    }
    return text;
}

std::string AccountJson(const SpliceInput& input, const SpliceAccount& account) {
    Json object;
    PutName(object, "path", input.path);
    object["format"] = static_cast<int>(input.format);
    object["size"]   = account.bytes;
    for (const Figure& figure : kFigures) object[figure.key] = figure.value(account);
    for (const Time& time : kTimes) {
        const auto value = time.value(account.counts);
        object[time.key] = value ? Json(*value) : Json();
    }
    object["failed_checks"]      = account.failedChecks;
    object["first_failed_check"] = account.failedChecks != 0 ? Json(account.firstFailedCheck) : Json();
    return JsonLine(object);
}

} // namespace tool
