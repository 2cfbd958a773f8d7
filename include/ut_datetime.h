// ut::DateTime: a point in time with sub-second precision, convertible to and
// from the file system's time stamps and broken-down local time.
#pragma once

#include <cstdint>
#include <ctime>

#include "drutils_export.h"
#include "od/OdString.h"

namespace ut {

class DRUTILS_API DateTime {
public:
    // An invalid value (isValid() false), as a "not set" marker.
    DateTime() = default;
    static DateTime fromTimeT(std::time_t t) { return fromMilliseconds(int64_t(t) * 1000); }
    static DateTime fromMilliseconds(int64_t msSinceEpoch);
    static DateTime fromTimespec(const struct timespec& ts);
    // Local time fields: month 1..12.
    static DateTime fromLocal(int year, int month, int day, int hour = 0, int minute = 0, int second = 0,
                              int millisecond = 0);
    static DateTime now();

    bool isValid() const { return m_valid; }
    int64_t milliseconds() const { return m_ms; }
    std::time_t toTimeT() const;
    struct timespec toTimespec() const;
    // strftime-style format in local time ("%Y-%m-%d %H:%M:%S" when empty).
    OdString format(const OdString& fmt = OdString()) const;

    friend bool operator==(const DateTime& a, const DateTime& b) { return a.m_valid == b.m_valid && a.m_ms == b.m_ms; }
    friend bool operator!=(const DateTime& a, const DateTime& b) { return !(a == b); }
    friend bool operator<(const DateTime& a, const DateTime& b) { return a.m_ms < b.m_ms; }

private:
    int64_t m_ms = 0;
    bool m_valid = false;
};

} // namespace ut
