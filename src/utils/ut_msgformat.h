// printf-style formatting of message texts with wide output, for the texts of the
// message catalogue and the SDK's numbered messages.
//
// Why not vswprintf directly: those texts mix wide "%ls" with narrow "%s", "%c"
// whose bytes glibc would decode with the C library's locale (and fail on
// anything but ASCII in the "C" locale), and a translated text is outside input
// that must not be able to read arguments the caller never passed. So a text is
// parsed first; its conversions say which arguments it reads, the arguments are
// taken from the list once, by those types, and each conversion is then printed
// on its own.
//
// Internal to the library; exported only for the tool and the tests.
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>
#include <vector>

#include "drutils_export.h"

namespace ut::msgformat {

// What a conversion takes from the argument list. Conversions that read the same
// machine type share a kind ("%d", "%X" and "%c" all read an int), so two texts
// whose kinds agree position by position read any one argument list alike.
enum class ArgKind : unsigned char {
    Int,        // d i u o x X c lc, with hh and h
    Long,       // the same with l, z, t, j
    LongLong,   // the same with ll, q
    Double,     // f F e E g G a A, also with l
    LongDouble, // the same with L
    NarrowText, // s: const char*, UTF-8, else the ANSI code page
    WideText,   // ls: const wchar_t*
    Pointer,    // p
};

// Short name of a kind for people ("integer", "text", ...).
DRUTILS_API const char* kindName(ArgKind kind);

struct DRUTILS_API Arg {
    ArgKind kind = ArgKind::Int;
    union {
        long long integer = 0;
        double real;
        long double longReal;
        const char* narrow;
        const wchar_t* wide;
        const void* pointer;
    };

    static Arg ofInt(long long v, ArgKind k = ArgKind::Int);
    static Arg ofDouble(double v);
    static Arg ofLongDouble(long double v);
    static Arg ofNarrow(const char* s);
    static Arg ofWide(const wchar_t* s);
    static Arg ofPointer(const void* p);
};

// The arguments a text reads, by argument position. False when the text is not a
// format this formatter accepts: a lone or unknown conversion ("%n", "%S", "%m"),
// a '*' width, a width or precision above 4096, positional ("%2$d") and plain
// conversions mixed, a position skipped or read with two different kinds.
// "%%" reads nothing. A text without '%' gives true and no kinds.
DRUTILS_API bool argumentKinds(std::wstring_view text, std::vector<ArgKind>& kinds);

// Takes one argument per kind from *list (which is left untouched; a copy is read).
// The caller promises that the list holds arguments of those types, as it does
// for printf.
DRUTILS_API std::vector<Arg> readArguments(const std::vector<ArgKind>& kinds, va_list* list);

// The text with its conversions filled from args. A text that argumentKinds
// refuses, or args that do not match its kinds in number and kind, give the text
// as it stands: a broken translation shows its placeholders instead of reading
// memory that is not an argument. Null text arguments print "(null)".
DRUTILS_API std::wstring format(std::wstring_view text, const std::vector<Arg>& args);

// format with the arguments taken from *list by the text's own kinds, parsing the
// text once. A text that argumentKinds refuses comes back as it stands and nothing
// is read; so does any text when list is null.
DRUTILS_API std::wstring formatList(std::wstring_view text, va_list* list);

} // namespace ut::msgformat
