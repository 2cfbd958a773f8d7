// Code pages. The library's single-byte texts (parameter files, lock files, name
// checks) are in the "ANSI code page" that Windows picks from the user's language;
// here it is picked the same way from the locale environment, and
// DRUTILS_ANSI_CODEPAGE (a number such as 1252 or 932) overrides it.
// Conversions go through iconv; characters the target cannot hold become '?'
// (as WideCharToMultiByte's default character) and undecodable bytes U+FFFD.
#pragma once

#include <string>
#include <string_view>

#include "drutils_export.h"

namespace ut::platform {

constexpr int kCodePageUtf8 = 65001;

// The ANSI code page number in force (override, else from LC_ALL/LC_CTYPE/LANG).
DRUTILS_API int ansiCodePage();
// The code page Windows would choose for a locale name such as "de_DE.UTF-8";
// 1252 for "C", "POSIX" and unknown languages.
DRUTILS_API int codePageForLocale(std::string_view locale);
// The iconv name of a code page ("CP1252", "UTF-8"), or empty when unknown.
DRUTILS_API std::string iconvName(int codePage);

DRUTILS_API std::string wideToCodePage(std::wstring_view text, int codePage);
DRUTILS_API std::wstring codePageToWide(std::string_view bytes, int codePage);
// The text in the code page only when every character has a form there; false,
// with the position of the first that has none in badAt when given, otherwise.
DRUTILS_API bool encodeExactly(std::wstring_view text, int codePage, std::string& out, size_t* badAt = nullptr);
DRUTILS_API std::string wideToUtf8(std::wstring_view text);
DRUTILS_API std::wstring utf8ToWide(std::string_view bytes);
// Whether the bytes are well-formed UTF-8 (plain ASCII is).
DRUTILS_API bool isValidUtf8(std::string_view bytes);

// Makes the character-type locale of the calling thread the one of a code page
// for the lifetime of the object (uselocale, so other threads are not disturbed).
// When no installed locale matches, the thread keeps its locale.
class DRUTILS_API ScopedCodePageLocale {
public:
    explicit ScopedCodePageLocale(int codePage);
    ~ScopedCodePageLocale();
    ScopedCodePageLocale(const ScopedCodePageLocale&) = delete;
    ScopedCodePageLocale& operator=(const ScopedCodePageLocale&) = delete;
    bool active() const { return m_newLocale != nullptr; }

private:
    void* m_newLocale = nullptr;
    void* m_oldLocale = nullptr;
};

} // namespace ut::platform
