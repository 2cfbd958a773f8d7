#include "ut_log.h"

#include "od/OdString.h"

#include <cstdarg>
#include <cstdio>
#include <cwchar>
#include <string>
#include <vector>

#include <wx/log.h>

namespace {

std::wstring formatWide(const wchar_t* format, va_list args) {
    OdString text;
    text.formatV(format, args);
    return text.str();
}

std::wstring formatNarrow(const char* format, va_list args) {
    if (!format)
        return std::wstring();
    va_list copy;
    va_copy(copy, args);
    int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n < 0)
        return wxString::FromUTF8(format).ToStdWstring();
    std::string s(size_t(n) + 1, '\0');
    std::vsnprintf(s.data(), s.size(), format, args);
    s.resize(size_t(n));
    return wxString::FromUTF8(s).ToStdWstring();
}

void emit(wxLogLevel level, const char* file, const char* function, const std::wstring& text) {
    wxLogRecordInfo info(file ? file : "", 0, function ? function : "", "drutils");
    wxLog::OnLog(level, wxString(text), info);
}

} // namespace

#define DRUTILS_LOG_IMPL(name, level, fmtType, formatter)                                         \
    void ut::name(const char* file, const char* function, fmtType format, ...) {                   \
        va_list args;                                                                              \
        va_start(args, format);                                                                    \
        std::wstring text = formatter(format, args);                                               \
        va_end(args);                                                                              \
        emit(level, file, function, text);                                                         \
    }

DRUTILS_LOG_IMPL(logError, wxLOG_Error, const wchar_t*, formatWide)
DRUTILS_LOG_IMPL(logWarning, wxLOG_Warning, const wchar_t*, formatWide)
DRUTILS_LOG_IMPL(logMessage, wxLOG_Message, const wchar_t*, formatWide)
DRUTILS_LOG_IMPL(logError, wxLOG_Error, const char*, formatNarrow)
DRUTILS_LOG_IMPL(logWarning, wxLOG_Warning, const char*, formatNarrow)
DRUTILS_LOG_IMPL(logMessage, wxLOG_Message, const char*, formatNarrow)
