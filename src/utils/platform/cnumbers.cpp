#include "platform/cnumbers.h"

#include <cerrno>
#include <charconv>
#include <cwchar>
#include <locale.h>
#include <string>
#include <wchar.h>

namespace ut::platform {

namespace {

locale_t classicLocale() {
    // Made once and kept for the life of the process.
    static const locale_t loc = newlocale(LC_ALL_MASK, "C", (locale_t)0);
    return loc;
}

} // namespace

namespace {

// Nearly every number in a parameter file is a few plain digits: those are read
// here, anything else (blanks, a plus sign, ten digits or more) as wcstol reads
// it. [p, end) is the text; a wide text ends at its NUL instead.
template <typename Char> bool plainInt(const Char* p, const Char* end, int& out) {
    auto digit = [&](const Char* at) { return at != end && *at >= Char('0') && *at <= Char('9'); };
    const bool negative = p != end && *p == Char('-');
    p += negative;
    int v = 0, digits = 0;
    for (; digits < 9 && digit(p); ++p, ++digits)
        v = v * 10 + int(*p - Char('0'));
    if (digits == 0 || digit(p))
        return false;
    out = negative ? -v : v;
    return true;
}

} // namespace

bool scanInt(std::string_view text, int& out) {
    if (plainInt(text.data(), text.data() + text.size(), out))
        return true;
    std::wstring wide(text.size(), L'\0');
    for (size_t i = 0; i < text.size(); ++i)
        wide[i] = wchar_t(static_cast<unsigned char>(text[i]));
    return scanInt(wide.c_str(), out);
}

bool scanInt(const wchar_t* text, int& out) {
    if (!text)
        return false;
    if (plainInt(text, static_cast<const wchar_t*>(nullptr), out))
        return true;
    // glibc's "%d" converts with strtol (saturating at the bounds of long) and
    // stores the low 32 bits of that: 3271557125 reads as 0xC3000005, a number
    // beyond long as -1 (or 0 below it). Writers that print a colour unsigned
    // rely on it.
    wchar_t* end = nullptr;
    errno = 0;
    const long v = std::wcstol(text, &end, 10);
    if (end == text)
        return false;
    out = static_cast<int>(static_cast<unsigned int>(static_cast<unsigned long>(v)));
    return true;
}

bool scanFloat(const wchar_t* text, float& out) {
    if (!text)
        return false;
    // Plain decimals ("0.500000", "-1.0") are converted here, rounded once to
    // the nearest float as wcstof rounds them; any other form goes to wcstof.
    {
        char buf[40];
        size_t n = 0;
        const wchar_t* p = text;
        if (*p == L'-')
            buf[n++] = '-', ++p;
        size_t digits = 0;
        for (; n < sizeof buf - 1 && *p >= L'0' && *p <= L'9'; ++p, ++digits)
            buf[n++] = char(*p);
        if (digits > 0 && *p == L'.' && n < sizeof buf - 1) {
            buf[n++] = '.', ++p;
            for (; n < sizeof buf - 1 && *p >= L'0' && *p <= L'9'; ++p)
                buf[n++] = char(*p);
        }
        if (digits > 0 && *p == L'\0') {
            float v = 0;
            const auto r = std::from_chars(buf, buf + n, v);
            if (r.ec == std::errc() && r.ptr == buf + n) {
                out = v;
                return true;
            }
        }
    }
    wchar_t* end = nullptr;
    locale_t loc = classicLocale();
    float v = loc ? wcstof_l(text, &end, loc) : std::wcstof(text, &end);
    if (end == text)
        return false;
    out = v;
    return true;
}

} // namespace ut::platform
