#include "platform/cnumbers.h"

#include <cerrno>
#include <climits>
#include <cwchar>
#include <locale.h>
#include <wchar.h>

namespace ut::platform {

namespace {

locale_t classicLocale() {
    // Made once and kept for the life of the process.
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    return loc;
}

} // namespace

bool scanInt(const wchar_t* text, int& out) {
    if (!text)
        return false;
    wchar_t* end = nullptr;
    errno = 0;
    long v = std::wcstol(text, &end, 10);
    if (end == text)
        return false;
    if (v > INT_MAX)
        v = INT_MAX;
    else if (v < INT_MIN)
        v = INT_MIN;
    out = static_cast<int>(v);
    return true;
}

bool scanFloat(const wchar_t* text, float& out) {
    if (!text)
        return false;
    wchar_t* end = nullptr;
    locale_t loc = classicLocale();
    float v = loc ? wcstof_l(text, &end, loc) : std::wcstof(text, &end);
    if (end == text)
        return false;
    out = v;
    return true;
}

} // namespace ut::platform
