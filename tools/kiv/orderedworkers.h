// Work on several threads whose results come in the order of the input.
#ifndef KIVTOOL_ORDEREDWORKERS_H
#define KIVTOOL_ORDEREDWORKERS_H

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

namespace tool {

// Threads take inputs from a source, one thread at a time and no more than a bounded window ahead of the
// results that were taken out, so that the length of the input does not matter.
// What the source or the work throws ends the work; Next() throws it on.
template <class Input, class Result> class OrderedWorkers {
public:
    struct Done {
        Input  input;
        Result result;
    };

    // source: std::optional<Input>(), nothing at the end. makeWork: makes each thread its own
    // Result(const Input&). With fewer threads than asked for, where the system gives no more, it works on.
    template <class Source, class MakeWork>
    OrderedWorkers(unsigned threads, Source& source, MakeWork makeWork) : m_window(threads * kAhead) {
        m_threads.reserve(threads);
        while (m_threads.size() < threads) {
            try {
                m_threads.emplace_back([this, &source, makeWork] { Run(source, makeWork); });
            } catch (const std::system_error&) {
                if (m_threads.empty()) throw;
                break;
            }
        }
    }

    OrderedWorkers(const OrderedWorkers&)            = delete;
    OrderedWorkers& operator=(const OrderedWorkers&) = delete;

    // Gives up what is not begun and waits for the rest.
    ~OrderedWorkers() {
        Stop();
        for (std::thread& thread : m_threads) thread.join();
    }

    // The next result, nothing at the end. Every 100 ms of waiting for it calls idle(const Input*) with its
    // input, or with null while the source is asked for one. One thread calls this.
    template <class Idle> std::optional<Done> Next(Idle idle) {
        std::unique_lock held(m_lock);
        const auto       ready = [&] {
            return m_error || (m_slots.empty() ? m_ended : m_slots.front().result.has_value());
        };
        while (!m_ready.wait_for(held, std::chrono::milliseconds(100), ready)) {
            const Input* awaited = m_slots.empty() ? nullptr : &m_slots.front().input;
            held.unlock();
            idle(awaited); // the slot stays: nobody but this thread takes slots away
            held.lock();
        }
        if (m_error) std::rethrow_exception(m_error);
        if (m_slots.empty()) return {};
        Slot slot = std::move(m_slots.front());
        m_slots.pop_front();
        m_room.notify_one();
        return Done{std::move(slot.input), std::move(*slot.result)};
    }

private:
    struct Slot {
        Input                 input;
        std::optional<Result> result;
    };

    static constexpr std::size_t kAhead =
        16; // inputs a thread; a slow file in front holds the others up late

    const std::size_t       m_window;
    std::mutex              m_sourceTurn; // held while the source is asked; taken before m_lock
    std::mutex              m_lock;       // of everything below but the threads
    std::condition_variable m_room;
    std::condition_variable m_ready;
    std::deque<Slot>   m_slots; // in the order of the input; grows and shrinks at its ends, so slots stay put
    bool               m_ended = false; // the source, or the wish for its inputs
    std::exception_ptr m_error;
    std::vector<std::thread> m_threads;

    template <class Source, class MakeWork> void Run(Source& source, MakeWork makeWork) {
        try {
            auto work = makeWork();
            while (Slot* slot = TakeInput(source)) {
                Result                result = work(std::as_const(slot->input));
                const std::lock_guard held(m_lock);
                slot->result.emplace(std::move(result));
                m_ready.notify_one();
            }
        } catch (...) {
            const std::lock_guard held(m_lock);
            m_error = std::current_exception();
            m_ready.notify_one();
        }
    }

    template <class Source> Slot* TakeInput(Source& source) {
        const std::lock_guard turn(m_sourceTurn);
        std::unique_lock      held(m_lock);
        m_room.wait(held, [&] { return m_ended || m_slots.size() < m_window; });
        if (m_ended) return nullptr;
        held.unlock(); // the source may wait for a pipe; results are taken out meanwhile
        std::optional<Input> input = source();
        held.lock();
        if (input && !m_ended) return &m_slots.emplace_back(Slot{std::move(*input), {}});
        m_ended = true;
        m_ready.notify_one();
        return nullptr;
    }

    void Stop() {
        const std::lock_guard held(m_lock);
        m_ended = true;
        m_room.notify_all();
    }
};

} // namespace tool

#endif
