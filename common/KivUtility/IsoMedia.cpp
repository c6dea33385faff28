// The movie atom, its tracks, and movie fragments (ISO/IEC 14496-12, clause 8). Which atom lies in which, and
// what reads it, is a table a container: what stands elsewhere is passed over, so nothing nests deeper than
// the tables do.
#include "IsoMedia.h"

#include "IsoAtoms.h"
#include "IsoTrack.h"

#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <span>

namespace kiv::iso {

namespace {

// Tracks that are looked at; films have a handful.
constexpr std::size_t kMostTracks = 64;

// A file type with more brands than any has is some other file's text.
constexpr std::uint64_t kMostTypeBytes = 4096;

// How these files begin. Old ones have no file type.
constexpr std::uint32_t kFirst[] = {kFtyp, kMoov, kMdat, kWide, kFree, kSkip, kPnot, kUuid};

constexpr std::uint32_t kVideoKinds[] = {FourCc("vide"), FourCc("pict")}; // the latter of single pictures
constexpr std::uint32_t kAudioKinds[] = {FourCc("soun")};

// Of what frames are counted, the best first.
constexpr std::span<const std::uint32_t> kKinds[] = {kVideoKinds, kAudioKinds};

unsigned Ones(std::uint32_t flags) { return static_cast<unsigned>(std::popcount(flags)); }

std::int32_t Signed(std::uint32_t bits) { return std::bit_cast<std::int32_t>(bits); }

// Atoms with versions have times of 64 bits from version 1 on and of 32 bits in version 0.
bool IsLong(ByteSpan content) { return BigEndian<std::uint8_t>(content, 0) != 0; }

std::uint64_t Time(ByteSpan bytes, std::size_t at, bool isLong) {
    return isLong ? BigEndian<std::uint64_t>(bytes, at) : BigEndian<std::uint32_t>(bytes, at);
}

// A time of all ones: not known, or in an edit list none.
constexpr std::uint64_t NoTime(bool isLong) {
    return isLong ? std::numeric_limits<std::uint64_t>::max() : std::numeric_limits<std::uint32_t>::max();
}

// 0 where it is not known.
double Ticks(ByteSpan bytes, std::size_t at, bool isLong) {
    const std::uint64_t time = Time(bytes, at, isLong);
    return time == NoTime(isLong) ? 0 : static_cast<double>(time);
}

// What fragments of a track take as read (8.8.3).
struct FragmentDefaults {
    std::uint32_t trackId        = 0;
    std::uint32_t sampleDuration = 0;
};

// At most N of something, in the order in which they came.
template <class Item, std::size_t N> class UpTo {
public:
    // The place for one more; null when all are taken.
    Item* Add() { return m_count == N ? nullptr : &m_items[m_count++]; }

    std::span<Item> All() { return std::span(m_items).first(m_count); }

private:
    std::array<Item, N> m_items{};
    std::size_t         m_count = 0;
};

class Reader {
public:
    Reader(CKivBitStream& stream, Effort effort) : m_reader(stream), m_effort(effort) {}

    Media Read();

private:
    using ReadAtom = void (Reader::*)(const Atom&);

    enum class Times { Once, Each }; // of several in one container the first counts, or all

    struct Row {
        std::uint32_t type;
        Times         times;
        ReadAtom      read;
    };

    static const Row kInFile[], kInMovie[], kInMovieToRecognise[], kInTrack[], kInEdits[], kInMedia[],
        kInMediaInformation[], kInSampleTable[], kInExtension[], kInFragment[], kInTrackFragment[];

    StreamReader m_reader;
    Effort       m_effort;
    Media        m_media;

    // of the file
    bool m_hasType    = false;
    bool m_hasItems   = false; // of which a picture file is made
    bool m_hasMovie   = false;
    bool m_hasHeader  = false; // of the movie
    bool m_hasData    = false;
    bool m_awaitsData = false; // samples were told whose data must follow

    // of the movie
    Clock                               m_clock;
    double                              m_fragmentsTold = 0; // ticks of the movie's clock
    UpTo<Track, kMostTracks>            m_tracks;
    UpTo<FragmentDefaults, kMostTracks> m_defaults;
    Track*                              m_track          = nullptr; // the one whose atoms are being read
    std::uint32_t                       m_sampleDuration = 0;       // in its fragment
    double                              m_decodeTime     = 0;       // of the next sample there

    void Walk(const Atom& container, std::span<const Row> rows);
    void Dispatch(std::span<const Row> rows, const Atom& atom, std::uint32_t& seen);

    // What they read is told by the tables.
    void ReadFileType(const Atom& atom);

    void NoteItems(const Atom& /*atom*/) { m_hasItems = true; }

    void NoteData(const Atom& atom);
    void ReadSegmentIndex(const Atom& atom);
    void ReadMovie(const Atom& atom);

    void NoteCompressedMovie(const Atom& /*atom*/) { m_hasHeader = true; }

    void ReadMovieHeader(const Atom& atom);
    void ReadTrack(const Atom& atom);
    void ReadTrackHeader(const Atom& atom);
    void ReadEditList(const Atom& atom);

    void ReadMediaHeader(const Atom& atom) { m_track->clock = ReadClock(atom); }

    void ReadHandler(const Atom& atom);
    void ReadTimes(const Atom& atom);
    void ReadSizes(const Atom& atom);
    void ReadFragmentsDuration(const Atom& atom);
    void ReadFragmentDefaults(const Atom& atom);
    void ReadTrackFragment(const Atom& atom);
    void ReadFragmentHeader(const Atom& atom);
    void ReadDecodeTime(const Atom& atom);
    void ReadRun(const Atom& atom);

    void WalkEdits(const Atom& atom);
    void WalkMedia(const Atom& atom);
    void WalkMediaInformation(const Atom& atom);
    void WalkSampleTable(const Atom& atom);
    void WalkExtension(const Atom& atom);
    void WalkFragment(const Atom& atom);

    Clock  ReadClock(const Atom& atom);
    Figure Frames();
    Figure Seconds();
};

constexpr Reader::Row Reader::kInSampleTable[] = {
    {kStts, Times::Once, &Reader::ReadTimes},
    {kStsz, Times::Once, &Reader::ReadSizes},
    {kStz2, Times::Once, &Reader::ReadSizes},
};
constexpr Reader::Row Reader::kInMediaInformation[] = {
    {kStbl, Times::Once, &Reader::WalkSampleTable},
};
constexpr Reader::Row Reader::kInMedia[] = {
    {kMdhd, Times::Once, &Reader::ReadMediaHeader},
    {kHdlr, Times::Once, &Reader::ReadHandler},
    {kMinf, Times::Once, &Reader::WalkMediaInformation},
};
constexpr Reader::Row Reader::kInEdits[] = {
    {kElst, Times::Once, &Reader::ReadEditList},
};
constexpr Reader::Row Reader::kInTrack[] = {
    {kTkhd, Times::Once, &Reader::ReadTrackHeader},
    {kEdts, Times::Once, &Reader::WalkEdits},
    {kMdia, Times::Once, &Reader::WalkMedia},
};
constexpr Reader::Row Reader::kInExtension[] = {
    {kMehd, Times::Once, &Reader::ReadFragmentsDuration},
    {kTrex, Times::Each, &Reader::ReadFragmentDefaults},
};
constexpr Reader::Row Reader::kInMovie[] = {
    {kMvhd, Times::Once, &Reader::ReadMovieHeader},
    {kCmov, Times::Once, &Reader::NoteCompressedMovie},
    {kTrak, Times::Each, &Reader::ReadTrack},
    {kMvex, Times::Once, &Reader::WalkExtension},
};
constexpr Reader::Row Reader::kInMovieToRecognise[] = {
    {kMvhd, Times::Once, &Reader::ReadMovieHeader},
    {kCmov, Times::Once, &Reader::NoteCompressedMovie},
};
constexpr Reader::Row Reader::kInTrackFragment[] = {
    {kTfhd, Times::Once, &Reader::ReadFragmentHeader},
    {kTfdt, Times::Once, &Reader::ReadDecodeTime},
    {kTrun, Times::Each, &Reader::ReadRun},
};
constexpr Reader::Row Reader::kInFragment[] = {
    {kTraf, Times::Each, &Reader::ReadTrackFragment},
};
constexpr Reader::Row Reader::kInFile[] = {
    {kFtyp, Times::Once, &Reader::ReadFileType},     {kMoov, Times::Each, &Reader::ReadMovie},
    {kMoof, Times::Each, &Reader::WalkFragment},     {kMdat, Times::Each, &Reader::NoteData},
    {kSidx, Times::Each, &Reader::ReadSegmentIndex}, {kMeta, Times::Once, &Reader::NoteItems},
};

void Reader::WalkEdits(const Atom& atom) { Walk(atom, kInEdits); }

void Reader::WalkMedia(const Atom& atom) { Walk(atom, kInMedia); }

void Reader::WalkMediaInformation(const Atom& atom) { Walk(atom, kInMediaInformation); }

void Reader::WalkSampleTable(const Atom& atom) { Walk(atom, kInSampleTable); }

void Reader::WalkExtension(const Atom& atom) { Walk(atom, kInExtension); }

void Reader::WalkFragment(const Atom& atom) { Walk(atom, kInFragment); }

// `seen` has a bit a row, of those that were read in this container.
void Reader::Dispatch(std::span<const Row> rows, const Atom& atom, std::uint32_t& seen) {
    const auto row = std::ranges::find(rows, atom.type, &Row::type);
    if (row == rows.end()) return;
    const std::uint32_t bit   = std::uint32_t{1} << (row - rows.begin());
    const bool          again = (seen & bit) != 0;
    seen |= bit;
    if (!again || row->times == Times::Each) (this->*row->read)(atom);
}

void Reader::Walk(const Atom& container, std::span<const Row> rows) {
    Atoms         atoms(m_reader, container);
    std::uint32_t seen = 0;
    while (const auto atom = atoms.Next()) Dispatch(rows, *atom, seen);
}

Media Reader::Read() {
    Atoms         atoms(m_reader, 0, m_reader.Size());
    std::uint32_t seen = 0;
    for (bool isFirst = true; const auto atom = atoms.Next(); isFirst = false) {
        if (isFirst && std::ranges::find(kFirst, atom->type) == std::end(kFirst)) return {};
        Dispatch(kInFile, *atom, seen);
        if (atom->isCut) m_media.isTruncated = true;
        if (m_hasHeader && m_effort == Effort::Recognise) break;
    }
    m_media.isMovie  = m_hasHeader || (m_hasType && !m_hasItems);
    m_media.hasMedia = m_hasMovie || m_hasData;
    m_media.frames   = Frames();
    m_media.seconds  = Seconds();
    if (atoms.EndsInHeader() || m_awaitsData || !m_hasMovie) m_media.isTruncated = true;
    return m_media;
}

// --- the file

void Reader::ReadFileType(const Atom& atom) {
    const std::uint64_t bytes = atom.end - atom.begin;
    if (atom.isCut || bytes < sizeof(std::uint32_t) || bytes > kMostTypeBytes) return;
    m_hasType     = true;
    m_media.brand = BigEndian<std::uint32_t>(ContentOf(m_reader, atom, sizeof(std::uint32_t)), 0);
}

void Reader::NoteData(const Atom& /*atom*/) {
    m_hasData    = true;
    m_awaitsData = false;
}

// 8.16.3: the bytes from here on that the parts of the file take.
void Reader::ReadSegmentIndex(const Atom& atom) {
    const bool          isLong  = IsLong(ContentOf(m_reader, atom, 32));
    const std::size_t   entries = isLong ? 32 : 24;
    const ByteSpan      header  = ContentOf(m_reader, atom, entries);
    const std::uint64_t offset  = Time(header, isLong ? 20 : 16, isLong);
    const std::uint16_t count   = BigEndian<std::uint16_t>(header, entries - sizeof(std::uint16_t));
    std::uint64_t       told    = 0; // 65535 times 31 bits at most
    EachEntry(m_reader, {atom.begin + entries, atom.end, 12, count},
              [&](ByteSpan entry) { told += BigEndian<std::uint32_t>(entry, 0) & 0x7FFFFFFF; });
    const std::uint64_t left = m_reader.Size() - atom.end;
    if (offset > left || told > left - offset) m_media.isTruncated = true;
}

// --- the movie

// A second movie is what an editor left behind.
void Reader::ReadMovie(const Atom& atom) {
    m_hasMovie = true;
    if (m_hasHeader) return;
    Walk(atom, m_effort == Effort::Measure ? std::span<const Row>(kInMovie) : kInMovieToRecognise);
    const auto hasSamples = [](const Track& track) { return track.Samples() != 0; };
    m_awaitsData          = !m_hasData && std::ranges::any_of(m_tracks.All(), hasSamples);
}

Clock Reader::ReadClock(const Atom& atom) {
    const ByteSpan    header = ContentOf(m_reader, atom, 32);
    const bool        isLong = IsLong(header);
    const std::size_t at     = isLong ? 20 : 12;
    return {BigEndian<std::uint32_t>(header, at), Ticks(header, at + 4, isLong)};
}

void Reader::ReadMovieHeader(const Atom& atom) {
    m_hasHeader = true;
    m_clock     = ReadClock(atom);
}

void Reader::ReadTrack(const Atom& atom) {
    m_track = m_tracks.Add();
    if (m_track != nullptr) Walk(atom, kInTrack);
}

void Reader::ReadTrackHeader(const Atom& atom) {
    const ByteSpan header = ContentOf(m_reader, atom, 24);
    m_track->id           = BigEndian<std::uint32_t>(header, IsLong(header) ? 20 : 12);
}

void Reader::ReadEditList(const Atom& atom) {
    const bool        isLong = IsLong(ContentOf(m_reader, atom, 8));
    const std::size_t field  = isLong ? 8 : 4;
    EachEntry(m_reader, TableOf(m_reader, atom, 8, 2 * field + 4), [&](ByteSpan entry) {
        const std::uint64_t at = Time(entry, field, isLong);
        m_track->edits.Add(Ticks(entry, 0, isLong), at == NoTime(isLong), static_cast<double>(at));
    });
}

void Reader::ReadHandler(const Atom& atom) {
    m_track->kind = BigEndian<std::uint32_t>(ContentOf(m_reader, atom, 12), 8);
}

// 8.6.1.2. A duration is taken as signed: writers of QuickTime files set a clock back by a negative one.
void Reader::ReadTimes(const Atom& atom) {
    EachEntry(m_reader, TableOf(m_reader, atom, 8, 8), [&](ByteSpan entry) {
        const auto count    = BigEndian<std::uint32_t>(entry, 0);
        const auto duration = Signed(BigEndian<std::uint32_t>(entry, 4));
        m_track->timedSamples += count;
        m_track->sampleTicks += static_cast<double>(count) * duration;
    });
}

// 8.7.3: a size for all samples, or one for each, in 32 bits or in as many as stz2 says.
void Reader::ReadSizes(const Atom& atom) {
    const ByteSpan      header  = ContentOf(m_reader, atom, 12);
    const bool          isOne   = atom.type == kStsz && BigEndian<std::uint32_t>(header, 4) != 0;
    const unsigned      told    = atom.type == kStsz ? 32 : BigEndian<std::uint8_t>(header, 7);
    const std::uint64_t claimed = BigEndian<std::uint32_t>(header, 8);
    const std::uint64_t bytes   = atom.end - atom.begin - header.size();
    m_track->hasSizes           = true;
    m_track->sizedSamples       = isOne ? claimed : std::min(claimed, bytes * 8 / std::max(told, 1U));
}

// --- fragments

void Reader::ReadFragmentsDuration(const Atom& atom) {
    const ByteSpan content = ContentOf(m_reader, atom, 12);
    m_fragmentsTold        = Ticks(content, 4, IsLong(content));
}

// They may stand in front of the track, so they are kept by its number.
void Reader::ReadFragmentDefaults(const Atom& atom) {
    const ByteSpan content = ContentOf(m_reader, atom, 16);
    if (FragmentDefaults* defaults = m_defaults.Add(); defaults != nullptr)
        *defaults = {BigEndian<std::uint32_t>(content, 4), BigEndian<std::uint32_t>(content, 12)};
}

void Reader::ReadTrackFragment(const Atom& atom) {
    m_track = nullptr; // until its header names it
    Walk(atom, kInTrackFragment);
}

// 8.8.7
void Reader::ReadFragmentHeader(const Atom& atom) {
    constexpr std::uint32_t kHasDataOffset = 1, kHasDescription = 2, kHasDuration = 8;

    const ByteSpan      header = ContentOf(m_reader, atom, 24);
    const std::uint32_t flags  = BigEndian<std::uint32_t>(header, 0);
    const std::uint32_t id     = BigEndian<std::uint32_t>(header, 4);
    const std::size_t   at =
        8U + ((flags & kHasDataOffset) != 0 ? 8 : 0) + ((flags & kHasDescription) != 0 ? 4 : 0);

    const auto tracks   = m_tracks.All();
    const auto track    = std::ranges::find(tracks, id, &Track::id);
    const auto defaults = std::ranges::find(m_defaults.All(), id, &FragmentDefaults::trackId);
    if (track == tracks.end()) return;
    m_track          = &*track;
    m_decodeTime     = m_track->NextTime();
    m_sampleDuration = 0;
    if ((flags & kHasDuration) != 0)
        m_sampleDuration = BigEndian<std::uint32_t>(header, at);
    else if (defaults != m_defaults.All().end())
        m_sampleDuration = defaults->sampleDuration;
}

// 8.8.12
void Reader::ReadDecodeTime(const Atom& atom) {
    const ByteSpan content = ContentOf(m_reader, atom, 12);
    m_decodeTime           = Ticks(content, 4, IsLong(content));
}

// 8.8.8: behind the number of samples, fields for all of them, and then fields of each. Offsets are taken as
// signed in version 0 too: they are small, or negative and written so by mistake.
void Reader::ReadRun(const Atom& atom) {
    constexpr std::uint32_t kOfAll = 0x005, kOfEach = 0xF00;
    constexpr std::uint32_t kHasDuration = 0x100, kHasOffset = 0x800, kInFrontOfOffset = 0x700;

    if (m_track == nullptr) return;
    const ByteSpan      header  = ContentOf(m_reader, atom, 8);
    const std::uint32_t flags   = BigEndian<std::uint32_t>(header, 0);
    const std::uint64_t claimed = BigEndian<std::uint32_t>(header, 4);
    const auto          bytesOf = [&](std::uint32_t fields) { return 4U * Ones(flags & fields); };
    const Table         table{atom.begin + 8 + bytesOf(kOfAll), atom.end, bytesOf(kOfEach), claimed};
    const std::uint64_t samples = table.entryBytes == 0 ? claimed : table.Entries();
    if (samples == 0) return;

    double  next = m_decodeTime;
    Stretch shown{std::numeric_limits<double>::max(), 0};
    if (table.entryBytes == 0 || (flags & (kHasDuration | kHasOffset)) == 0) {
        next += static_cast<double>(samples) * m_sampleDuration;
        shown = {m_decodeTime, next};
    } else {
        EachEntry(m_reader, table, [&](ByteSpan entry) {
            const double offset = (flags & kHasOffset) == 0
                                      ? 0
                                      : Signed(BigEndian<std::uint32_t>(entry, bytesOf(kInFrontOfOffset)));
            shown.begin         = std::min(shown.begin, next + offset);
            next += (flags & kHasDuration) == 0 ? m_sampleDuration : BigEndian<std::uint32_t>(entry, 0);
            shown.end = std::max(shown.end, next + offset);
        });
    }
    m_track->AddFragment(samples, shown, next);
    m_decodeTime = next;
    m_awaitsData = true;
}

// --- the measures

Figure Reader::Frames() {
    for (const auto kinds : kKinds) {
        for (const Track& track : m_tracks.All()) {
            if (track.Samples() == 0 || std::ranges::find(kinds, track.kind) == kinds.end()) continue;
            return {static_cast<double>(track.Samples()),
                    track.isFragmented ? kKivOrigin_Counted : kKivOrigin_Declared};
        }
    }
    return {};
}

// From the begin of the first track to the end of the last; what the movie's header tells where its tracks
// tell nothing.
Figure Reader::Seconds() {
    double begin  = std::numeric_limits<double>::max();
    double end    = 0;
    auto   origin = kKivOrigin_Declared;
    for (const Track& track : m_tracks.All()) {
        if (track.Samples() == 0) continue;
        begin = std::min(begin, track.BeginSeconds(m_clock));
        end   = std::max(end, track.EndSeconds(m_clock));
        if (track.isFragmented) origin = kKivOrigin_Timestamps;
    }
    if (end > begin) return {end - begin, origin};
    return {m_clock.Seconds(m_clock.duration > 0 ? m_clock.duration : m_fragmentsTold), kKivOrigin_Declared};
}

} // namespace

Media ReadMedia(CKivBitStream& stream, Effort effort) { return Reader(stream, effort).Read(); }

} // namespace kiv::iso
