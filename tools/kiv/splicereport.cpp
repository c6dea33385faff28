// What is told of a splice, as text and as JSON.
#include "splicereport.h"

#include "formatname.h"
#include "names.h"

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

std::string Number(unsigned long number, const char* unit) {
    return number == 0 ? std::string() : std::to_string(number) + unit;
}

// 25, 29.97
std::string FrameRateText(const KivStreamFacts& facts) {
    if (facts.frameRatePer == 0) return {};
    char text[32];
    std::snprintf(text, sizeof text, "%.5g a second",
                  static_cast<double>(facts.frameRate) / static_cast<double>(facts.frameRatePer));
    return text;
}

std::string CodecText(const KivStreamFacts& facts) {
    std::string text;
    for (int shift = 0; facts.videoCodec != 0 && shift < 32; shift += 8)
        text += static_cast<char>(facts.videoCodec >> shift & 0xFF);
    return ShownText(text);
}

std::string SoundText(const KivStreamFacts& facts) {
    if (facts.audioLayer != 0) return "MPEG layer " + std::string(facts.audioLayer, 'I');
    return facts.audioFormat != 0 ? "format " + std::to_string(facts.audioFormat) : std::string();
}

struct Fact {
    const char* name;
    std::string (*text)(const KivStreamFacts&); // empty where it is not known
};

constexpr Fact kFacts[] = {
    {"width", [](const KivStreamFacts& facts) { return Number(facts.width, ""); }},
    {"height", [](const KivStreamFacts& facts) { return Number(facts.height, ""); }},
    {"pictures", FrameRateText},
    {"codec", CodecText},
    {"sound", SoundText},
    {"sampling", [](const KivStreamFacts& facts) { return Number(facts.samplesSecond, " Hz"); }},
};

// Whether two files know the fact and do not agree.
bool Differs(const Fact& fact, const std::vector<SpliceInput>& inputs) {
    std::string known;
    return std::ranges::any_of(inputs, [&](const SpliceInput& input) {
        const std::string text = fact.text(input.facts);
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
    {"rebuilt_audio", "audio sent ahead, rebuilt",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.audioBytes}; }},
    {"taken", "taken over", [](const SpliceAccount& a) { return a.Taken(); }},
    {"dropped_early", "dropped in front of the place to join",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedEarly}; }},
    {"dropped_audio", "dropped, audio before the first picture",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedAudio}; }},
    {"dropped_video", "dropped, pictures of the group before",
     [](const SpliceAccount& a) { return std::uint64_t{a.counts.droppedVideo}; }},
    {"withheld", "dropped, not complete at its end", [](const SpliceAccount& a) { return a.Withheld(); }},
};

} // namespace

std::string DifferenceTable(const std::vector<SpliceInput>& inputs) {
    std::vector<Fact> facts;
    std::ranges::copy_if(kFacts, std::back_inserter(facts),
                         [&](const Fact& fact) { return Differs(fact, inputs); });
    if (facts.empty()) return {};
    std::string table;
    for (const Fact& fact : facts) table += Column(fact.name);
    table += "file\n";
    for (const SpliceInput& input : inputs) {
        for (const Fact& fact : facts) {
            const std::string text = fact.text(input.facts);
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
    if (account.counts.clockWritten) {
        std::snprintf(line, sizeof line, "%14lu  clock written into the header, of 90000 a second\n",
                      account.counts.clock);
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
    object["clock"]         = account.counts.clockWritten ? Json(account.counts.clock) : Json();
    object["failed_checks"] = account.failedChecks;
    return JsonLine(object);
}

} // namespace tool
