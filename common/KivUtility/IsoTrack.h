// One track of an MPEG-4 or QuickTime file: what its tables and fragments told, and when it is shown. The
// clauses are those of ISO/IEC 14496-12.
#ifndef KIVUTILITY_ISOTRACK_H
#define KIVUTILITY_ISOTRACK_H

#include <algorithm>
#include <cstdint>

namespace kiv::iso {

// A movie's or a track's clock: both headers begin alike (8.2.2, 8.4.2), behind version and flags, the times
// of creation and modification.
struct Clock {
    std::uint32_t ticksPerSecond = 0;
    double        duration       = 0; // 0 where it is not known

    double Seconds(double ticks) const { return ticksPerSecond == 0 ? 0 : ticks / ticksPerSecond; }
};

// The edit list (8.6.6): which parts of the media are shown, one after the other. An edit of the media begins
// at mediaTime on the media's clock and lasts so long on the movie's; one of duration 0 runs to the media's
// end.
struct Edits {
    bool   hasMedia  = false;
    double before    = 0; // all edits but the last of the media, and empty ones
    double last      = 0; // the last of the media
    double mediaTime = 0; // where that begins

    void Add(double duration, bool isEmpty, double at) {
        if (isEmpty) {
            before += duration;
            return;
        }
        before += last;
        hasMedia  = true;
        last      = duration;
        mediaTime = at;
    }
};

// Of time, in ticks.
struct Stretch {
    double begin = 0;
    double end   = 0;
};

struct Track {
    std::uint32_t id   = 0;
    std::uint32_t kind = 0;
    Clock         clock;
    Edits         edits;

    // from the sample tables
    double        sampleTicks  = 0;
    std::uint64_t timedSamples = 0; // as stts has them
    std::uint64_t sizedSamples = 0; // as stsz or stz2 has them
    bool          hasSizes     = false;

    // from the fragments, on the track's clock
    bool          isFragmented    = false;
    std::uint64_t fragmentSamples = 0;
    Stretch       media; // of these and of the tables' samples
    double        nextTime = 0;

    std::uint64_t TableSamples() const { return hasSizes ? sizedSamples : timedSamples; }

    std::uint64_t Samples() const { return TableSamples() + fragmentSamples; }

    // The end of the sample tables' media.
    double TableTicks() const { return sampleTicks > 0 ? sampleTicks : clock.duration; }

    // Takes in samples of a fragment, shown in this time, behind which the next fragment begins at `next`.
    void AddFragment(std::uint64_t samples, const Stretch& shown, double next) {
        const bool hasOthers = isFragmented || TableSamples() != 0;
        media.begin          = hasOthers ? std::min(media.begin, shown.begin) : shown.begin;
        media.end            = std::max(isFragmented ? media.end : sampleTicks, shown.end);
        isFragmented         = true;
        fragmentSamples += samples;
        nextTime = next;
    }

    // When a fragment begins that does not tell it.
    double NextTime() const { return isFragmented ? nextTime : sampleTicks; }

    // When it begins and ends, in seconds on the movie's clock. In fragments a recording may begin at any
    // time of the day, and an edit list cannot tell how long they get.
    double BeginSeconds(const Clock& movie) const { return isFragmented ? ShownAt(media.begin, movie) : 0; }

    double EndSeconds(const Clock& movie) const {
        const bool isEdited = edits.hasMedia ? edits.last > 0 : edits.before > 0;
        if (!isFragmented && isEdited && movie.ticksPerSecond != 0)
            return movie.Seconds(edits.before + edits.last);
        return ShownAt(isFragmented ? media.end : TableTicks(), movie);
    }

private:
    // When the media's time `ticks` is shown, in the last edit.
    double ShownAt(double ticks, const Clock& movie) const {
        return movie.Seconds(edits.before) + clock.Seconds(std::max(0.0, ticks - edits.mediaTime));
    }
};

} // namespace kiv::iso

#endif
