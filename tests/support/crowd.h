// Threads for tests, and how long they may go on.
#ifndef KIVUTILITY_TESTS_CROWD_H
#define KIVUTILITY_TESTS_CROWD_H

#include <chrono>
#include <thread>
#include <vector>

namespace test {

// Starts `count` threads, each with its number from 0 up; destroying them waits for their end.
template <class Work> std::vector<std::jthread> Start(int count, Work work) {
    std::vector<std::jthread> threads;
    threads.reserve(static_cast<std::size_t>(count));
    for (int n = 0; n < count; ++n) threads.emplace_back(work, n);
    return threads;
}

// For what another thread will bring about.
template <class Condition> void Until(Condition holds) {
    while (!holds()) std::this_thread::yield();
}

// Time enough for others to come to where they wait. A test stays right where it was not: it tries again.
inline void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(10)); }

// Ends long runs early where each turn is dear: under Wine and the sanitizers.
class TimeLimit {
public:
    explicit TimeLimit(int seconds) : m_end(Clock::now() + std::chrono::seconds(seconds)) {}

    bool IsOver() const { return Clock::now() > m_end; }

private:
    using Clock = std::chrono::steady_clock;
    Clock::time_point m_end;
};

} // namespace test

#endif
