// Number scanning as the C library's "%d" and "%f" do it in the "C" locale,
// whatever locale the process runs in (the toolkit may switch LC_NUMERIC to one
// with a decimal comma, but parameter files always use a point).
#pragma once

#include <string_view>

#include "drutils_export.h"

namespace ut::platform {

// Leading white space, an optional sign and at least one decimal digit; anything
// after the digits is ignored. Values beyond int keep their low 32 bits, as
// glibc's "%d" stores them (beyond long: -1, below it: 0). False, out untouched,
// when there is no digit.
DRUTILS_API bool scanInt(const wchar_t* text, int& out);
// The same over single-byte text (a NUL in it ends it as in the wide form).
DRUTILS_API bool scanInt(std::string_view text, int& out);
// Leading white space, then a decimal or hexadecimal floating number, "inf" or
// "nan", rounded once, directly to single precision; the rest is ignored. False,
// out untouched, when nothing converts.
DRUTILS_API bool scanFloat(const wchar_t* text, float& out);

// The value of a hexadecimal digit of either case; -1 for any other character.
inline int hexDigit(wchar_t c) {
    if (c >= L'0' && c <= L'9')
        return c - L'0';
    if (c >= L'a' && c <= L'f')
        return c - L'a' + 10;
    if (c >= L'A' && c <= L'F')
        return c - L'A' + 10;
    return -1;
}

} // namespace ut::platform
