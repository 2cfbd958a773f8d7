#include "ut_datetime.h"

#include <chrono>

#include "platform/codepage.h"

namespace ut {

DateTime DateTime::fromMilliseconds(int64_t msSinceEpoch) {
    DateTime d;
    d.m_ms = msSinceEpoch;
    d.m_valid = true;
    return d;
}

DateTime DateTime::fromTimespec(const struct timespec& ts) {
    return fromMilliseconds(int64_t(ts.tv_sec) * 1000 + ts.tv_nsec / 1000000);
}

DateTime DateTime::fromLocal(int year, int month, int day, int hour, int minute, int second, int millisecond) {
    std::tm tm{};
    tm.tm_year = year - 1900;
    tm.tm_mon = month - 1;
    tm.tm_mday = day;
    tm.tm_hour = hour;
    tm.tm_min = minute;
    tm.tm_sec = second;
    tm.tm_isdst = -1; // let the C library decide whether summer time applies
    std::time_t t = std::mktime(&tm);
    if (t == std::time_t(-1) && !(year == 1969 && month == 12 && day == 31))
        return DateTime();
    return fromMilliseconds(int64_t(t) * 1000 + millisecond);
}

DateTime DateTime::now() {
    auto since = std::chrono::system_clock::now().time_since_epoch();
    return fromMilliseconds(std::chrono::duration_cast<std::chrono::milliseconds>(since).count());
}

std::time_t DateTime::toTimeT() const {
    // Floor division, so that instants before 1970 round towards the past.
    int64_t s = m_ms / 1000;
    if (m_ms % 1000 < 0)
        --s;
    return std::time_t(s);
}

struct timespec DateTime::toTimespec() const {
    struct timespec ts{};
    ts.tv_sec = toTimeT();
    ts.tv_nsec = long((m_ms - int64_t(ts.tv_sec) * 1000) * 1000000);
    return ts;
}

OdString DateTime::format(const OdString& fmt) const {
    if (!m_valid)
        return OdString();
    std::time_t t = toTimeT();
    std::tm tm{};
    if (!localtime_r(&t, &tm))
        return OdString();
    std::string narrowFmt = platform::wideToUtf8(fmt.isEmpty() ? std::wstring(L"%Y-%m-%d %H:%M:%S") : fmt.str());
    char buf[512];
    size_t n = std::strftime(buf, sizeof buf, narrowFmt.c_str(), &tm);
    return OdString(platform::utf8ToWide(std::string(buf, n)));
}

} // namespace ut
