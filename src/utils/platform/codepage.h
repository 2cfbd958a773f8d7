// Code pages. The library's single-byte texts (parameter files, lock files, name
// checks) are in the "ANSI code page" that Windows picks from the user's language;
// here it is picked the same way from the locale environment, and
// DRUTILS_ANSI_CODEPAGE (a number such as 1252 or 932) overrides it.
// Conversions go through iconv; characters the target cannot hold become '?'
// (as WideCharToMultiByte's default character) and undecodable bytes U+FFFD.
#pragma once

#include <string>
#include <string_view>
#include <vector>

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

// UTF-8 one code point at a time, for text iconv would refuse: names holding the
// stand-ins for undecodable bytes, stores that keep lone surrogates.
// Appends the form of a code point below U+110000; a surrogate gets the three
// bytes it would have if it were a character.
DRUTILS_API void appendUtf8(std::string& out, char32_t c);
// Length of the well-formed sequence at s (n bytes left), its code point in cp;
// 0 when the byte at s starts none. Overlong forms, code points above U+10FFFF
// and surrogates are not well-formed; with surrogates set, the last are taken,
// so that what appendUtf8 wrote reads back.
DRUTILS_API size_t utf8Sequence(const unsigned char* s, size_t n, char32_t& cp, bool surrogates = false);

// UTF-16 and wide text: a surrogate pair is one character. A lone surrogate
// becomes U+FFFD, unless keepLoneSurrogates (the registry keeps one as Windows
// does); so does a code point above U+10FFFF on the way to UTF-16.
DRUTILS_API std::u16string wideToUtf16(std::wstring_view text, bool keepLoneSurrogates = false);
DRUTILS_API std::wstring utf16ToWide(std::u16string_view units, bool keepLoneSurrogates = false);
// The code units of UTF-16 bytes in the given order; a last odd byte is dropped.
DRUTILS_API std::u16string utf16Units(std::string_view bytes, bool bigEndian);

// The bytes of a text file that peers write (registry files, lock files): a
// byte-order mark decides (UTF-8, UTF-16 or UTF-32, either order); without one,
// valid UTF-8 is read as UTF-8 and anything else in the ANSI code page.
DRUTILS_API std::wstring decodeTextFile(std::string_view bytes, bool keepLoneSurrogates = false);
// Lines split at CR LF, LF or a lone CR. A line end at the very end opens no
// further line; empty lines in between are kept.
DRUTILS_API std::vector<std::wstring> splitLines(std::wstring_view text);

// Columns a terminal gives the text: 2 for an East Asian wide or full-width
// character, 0 for a combining mark or other zero-width character, 1 for any
// other (a control character, and a stand-in for a byte of a name, included).
// Taken from the system's UTF-8 character data whatever the process's locale;
// without it, every character counts 1.
DRUTILS_API size_t displayWidth(std::wstring_view text);

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
