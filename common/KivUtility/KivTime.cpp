// The time value: its clock and its arithmetic.
#include "KivTime.h"

#include "platform/wallclock.h"

namespace {

constexpr std::int32_t kUsecPerSec = 1000000;

std::int32_t WrappingSum(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) + static_cast<std::uint32_t>(b));
}

std::int32_t WrappingDifference(std::int32_t a, std::int32_t b) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

} // namespace

KivTime::KivTime(unsigned long ms)
    : m_sec(static_cast<std::int32_t>(static_cast<std::uint32_t>(ms) / 1000)),
      m_usec(static_cast<std::int32_t>(static_cast<std::uint32_t>(ms) % 1000 * 1000)) {}

void KivTime::GetTOD() {
    struct timeval now {};

    GetTOD(now);
    m_sec  = static_cast<std::int32_t>(now.tv_sec);
    m_usec = static_cast<std::int32_t>(now.tv_usec);
}

void KivTime::GetTOD(struct timeval& now) {
    const std::uint64_t ms = kiv::platform::NowMs();
    now.tv_sec             = static_cast<decltype(now.tv_sec)>(ms / 1000);
    now.tv_usec            = static_cast<decltype(now.tv_usec)>(ms % 1000 * 1000);
}

double KivTime::GetSeconds() const { return m_sec + m_usec * 0.000001; }

double KivTime::GetMiniSeconds() const { return m_usec * 0.001 + m_sec * 1000.0; }

KivTime& KivTime::operator+=(const KivTime& other) {
    const std::int32_t usec = WrappingSum(m_usec, other.m_usec);
    m_sec                   = WrappingSum(WrappingSum(m_sec, other.m_sec), usec / kUsecPerSec);
    m_usec                  = usec % kUsecPerSec;
    return *this;
}

KivTime& KivTime::operator-=(const KivTime& other) {
    m_usec = WrappingDifference(m_usec, other.m_usec);
    m_sec  = WrappingDifference(m_sec, other.m_sec);
    if (m_usec < 0) {
        m_usec += kUsecPerSec;
        m_sec = WrappingDifference(m_sec, 1);
    }
    return *this;
}

bool KivTime::operator<(const KivTime& other) const { return GetSeconds() < other.GetSeconds(); }

bool KivTime::operator<=(const KivTime& other) const { return GetSeconds() <= other.GetSeconds(); }

bool KivTime::operator>(const KivTime& other) const { return other < *this; }

bool KivTime::operator>=(const KivTime& other) const { return other <= *this; }

KivTime::operator struct timeval() const { return {m_sec, m_usec}; }

KivTime operator+(const KivTime& a, const KivTime& b) { return (KivTime(0, 0) += a) += b; }

KivTime operator-(const KivTime& a, const KivTime& b) { return (KivTime(0, 0) += a) -= b; }
