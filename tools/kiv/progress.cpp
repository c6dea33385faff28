// Drawing the progress bar.
#include "progress.h"

#include "names.h"
#include "platform/terminal.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace tool {

namespace {

constexpr auto kBetweenDrawings = std::chrono::milliseconds(100);

std::string Bar(std::uint64_t done, std::uint64_t total) {
    constexpr int kSteps = 24;
    const double  part   = static_cast<double>(std::min(done, total)) / static_cast<double>(total);
    std::string   bar(kSteps, '.');
    std::fill_n(bar.begin(), static_cast<int>(part * kSteps), '#');
    bar.insert(0, 1, '[');
    return bar += "] ";
}

} // namespace

Progress::Progress() : m_on(platform::IsTerminal(stderr)), m_lastDrawn(Clock::now()) {}

void Progress::Show(std::uint64_t done, std::uint64_t total, std::string_view label) {
    const Clock::time_point now = Clock::now();
    if (!m_on || now - m_lastDrawn < kBetweenDrawings) return;
    m_lastDrawn         = now;
    std::string line    = total != 0 ? Bar(done, total) : std::string();
    const int   columns = platform::TerminalColumns(stderr);
    // the last column stays free: some terminals begin a new line after it
    line += CutToFit(label, (columns > 0 ? columns : 80) - 1 - static_cast<int>(line.size()));
    Clear();
    std::fputs(line.c_str(), stderr);
    std::fflush(stderr);
    m_columns = Columns(line);
}

// With spaces: not every console understands the sequence that clears a line.
void Progress::Clear() {
    if (m_columns == 0) return;
    std::fprintf(stderr, "\r%*s\r", std::exchange(m_columns, 0), "");
    std::fflush(stderr);
}

} // namespace tool
