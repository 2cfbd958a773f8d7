// The library log. Failures a user must see are reported here with the source
// file (for instance "src/utils/ut_config") and the qualified function name
// ("ut::Config::exportGroup") beside the message. Messages go to the active
// wxLog target as records whose wxLogRecordInfo carries the file and function,
// so an application (or a test) sees them by installing its own wxLog.
#pragma once

#include "drutils_export.h"

namespace ut {

// printf-style; the wide forms take "%ls" for wide strings.
DRUTILS_API void logError(const char* file, const char* function, const wchar_t* format, ...);
DRUTILS_API void logWarning(const char* file, const char* function, const wchar_t* format, ...);
DRUTILS_API void logMessage(const char* file, const char* function, const wchar_t* format, ...);
DRUTILS_API void logError(const char* file, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
DRUTILS_API void logWarning(const char* file, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));
DRUTILS_API void logMessage(const char* file, const char* function, const char* format, ...)
    __attribute__((format(printf, 3, 4)));

} // namespace ut
