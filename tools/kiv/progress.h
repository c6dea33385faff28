// The progress bar of long work.
#ifndef KIVTOOL_PROGRESS_H
#define KIVTOOL_PROGRESS_H

#include <chrono>
#include <cstdint>
#include <string_view>

namespace tool {

// A line at the bottom of the terminal behind standard error, taken away before anything else is printed.
// Where standard error is no terminal nothing is drawn.
class Progress {
public:
    Progress();
    Progress(const Progress&)            = delete;
    Progress& operator=(const Progress&) = delete;

    ~Progress() { Clear(); }

    // Draws how far the work is, at most ten times a second. total: 0 when it is not known, which draws no
    // bar. label: what is under way, shown as it is.
    void Show(std::uint64_t done, std::uint64_t total, std::string_view label);

    void Clear();

private:
    using Clock = std::chrono::steady_clock;

    const bool        m_on;
    int               m_columns = 0; // of what stands there
    Clock::time_point m_lastDrawn;
};

} // namespace tool

#endif
