// A time of day or a duration, in seconds and microseconds.
#ifndef KIVUTILITY_KIVTIME_H
#define KIVUTILITY_KIVTIME_H

#include "KivExport.h"

#include <cstdint>

struct timeval; // whoever converts to it includes <sys/time.h>, on Windows <winsock2.h>

// Both members are signed 32-bit numbers, and sums wrap round in them; a time of day is good until 2038. The
// microseconds may be negative or a million and more. One thread at a time.
class KIV_API KivTime {
public:
    // The time of day.
    KivTime() { GetTOD(); }

    // A duration of `ms` milliseconds, of which 32 bits count.
    KivTime(unsigned long ms);

    // The two members as they are, 32 bits of each.
    KivTime(long sec, long usec)
        : m_sec(static_cast<std::int32_t>(sec)), m_usec(static_cast<std::int32_t>(usec)) {}

    // Becomes the time of day: since 1970-01-01 UTC, in whole milliseconds.
    void GetTOD();

    long GetSec() const { return m_sec; }

    long GetUsec() const { return m_usec; }

    // The whole value in seconds, or in milliseconds.
    double GetSeconds() const;
    double GetMiniSeconds() const;

    // Adding carries any number of whole seconds, towards zero, and leaves a negative rest negative;
    // subtracting borrows one second at most. So (1 s, 0) -= (0, 2500000 us) is (0 s, -1500000 us).
    KivTime& operator+=(const KivTime& other);
    KivTime& operator-=(const KivTime& other);

    // By GetSeconds(). There is no equality.
    bool operator<(const KivTime& other) const;
    bool operator<=(const KivTime& other) const;
    bool operator>(const KivTime& other) const;
    bool operator>=(const KivTime& other) const;

    operator struct timeval() const;

protected:
    // The time of day, in whole milliseconds.
    static void GetTOD(struct timeval& now);

private:
    std::int32_t m_sec;
    std::int32_t m_usec;
};

// 0 += a, then += or -= b: the carry of `a` comes first.
KIV_API KivTime operator+(const KivTime& a, const KivTime& b);
KIV_API KivTime operator-(const KivTime& a, const KivTime& b);

#endif
