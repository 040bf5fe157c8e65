#pragma once

#include <cstdint>
#include <cstdlib>
#include <ctime>

// A time of the machine's clock, from seconds since 1970.
constexpr uint64_t fileTime(int64_t secondsSince1970) {
    constexpr int64_t kSecondsTo1970 = 11'644'473'600;
    return static_cast<uint64_t>((secondsSince1970 + kSecondsTo1970) * 10'000'000);
}

// Sat Nov 21 02:06:27 2026, in UTC.
constexpr int64_t kSomeTime = 1'795'226'787;

// The zone of this process's local time, such as "EST5EDT".
inline void setZone(const char* zone) {
    ::_putenv_s("TZ", zone);
    ::_tzset();
}
