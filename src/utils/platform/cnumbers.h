// Number scanning as the C library's "%d" and "%f" do it in the "C" locale,
// whatever locale the process runs in (the toolkit may switch LC_NUMERIC to one
// with a decimal comma, but parameter files always use a point).
#pragma once

#include "drutils_export.h"

namespace ut::platform {

// Leading white space, an optional sign and at least one decimal digit; anything
// after the digits is ignored. Values beyond int saturate. False, out untouched,
// when there is no digit.
DRUTILS_API bool scanInt(const wchar_t* text, int& out);
// Leading white space, then a decimal or hexadecimal floating number, "inf" or
// "nan", rounded once, directly to single precision; the rest is ignored. False,
// out untouched, when nothing converts.
DRUTILS_API bool scanFloat(const wchar_t* text, float& out);

} // namespace ut::platform
