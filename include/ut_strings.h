// String utilities over OdString and zero-terminated wide buffers, and the
// attribute message parser. No function throws: checks answer false, editors leave
// what they cannot edit, and a null pointer is taken as "nothing".
#pragma once

#include <cstdio>
#include <map>

#include "drutils_export.h"
#include "od/OdArray.h"
#include "od/OdString.h"

namespace ut {

// Separates a leading run of attributes written name={value} from the message
// that follows them: "priority={1} entity={hf56} text" has two attributes and the
// message "text". A blank before or after "=" ends the attributes.
class DRUTILS_API CStringParser {
public:
    using AttributeMap = std::map<OdString, OdString>;

    CStringParser() = default;
    CStringParser(const CStringParser&) = default;
    CStringParser& operator=(const CStringParser&) = default;

    // False only when an attribute's value is not closed by "}"; the unclosed
    // attribute then stays in the message as written.
    bool parse(const OdString& text);
    void init();

    const OdString& message() const { return m_message; }
    // Empty when the attribute is absent. An attribute given twice keeps its first value.
    OdString attribute(const OdString& name) const;
    const AttributeMap& attributes() const { return m_attributes; }

private:
    OdString m_message;
    AttributeMap m_attributes;
};

// Appends to out the parts of text. Splits at the earliest delimiter (the longest one when several start at the
// same place). Empty parts are kept only with keepEmpty; the delimiters themselves
// are appended as parts with keepDelimiters. Empty delimiters are ignored.
DRUTILS_API void split(OdArray<OdString>& out, const OdString& text, const OdArray<OdString>& delimiters,
                       bool keepEmpty = false, bool keepDelimiters = false);
DRUTILS_API void split(OdArray<OdString>& out, const OdString& text, const OdString& delimiter,
                       bool keepEmpty = false, bool keepDelimiters = false);
// Splits at every occurrence of c, keeping empty parts (a text holding n of them has
// n+1 parts; an empty text has none).
DRUTILS_API void splitByChar(OdArray<OdString>& out, const OdString& text, wchar_t c);
// Splits at "\r\n", "\n" and "\r"; keepEmpty keeps empty lines.
DRUTILS_API void splitLines(OdArray<OdString>& out, const OdString& text, bool keepEmpty = false);

// A symbol-table name: not empty, at most 255 characters (the escapes \U+XXXX and
// \M+NXXXX counted at their written length), none of  " * , / : ; < = > ? \ ` |
// except a backslash that starts one of the two escapes.
DRUTILS_API bool isValidName(const wchar_t* name);
// Whether any of  * ? , . # @ ` [ ~  occurs (false for null).
DRUTILS_API bool hasWildcard(const wchar_t* s);
// Compares folding only A-Z; n == 0 means no limit. Returns the difference of the
// last compared characters.
DRUTILS_API int compareNamesLowercase(const wchar_t* a, const wchar_t* b, size_t n = 0);
DRUTILS_API void replaceSymbol(wchar_t* s, wchar_t from, wchar_t to);
// True when s holds no forward slash.
DRUTILS_API bool checkSlashes(const wchar_t* s);
// "/" becomes "\" and "|" becomes a blank. The reference form edits in place.
DRUTILS_API OdString& correctSlashes(OdString& s);
DRUTILS_API OdString correctSlashes(const OdString& s);
DRUTILS_API OdString correctSlashes(const wchar_t* s);
DRUTILS_API bool isValidHexDigit(wchar_t c);
// Leading blanks, then only hexadecimal digits; all blanks is valid; null or empty is not.
DRUTILS_API bool isValidHandleString(const wchar_t* s);
// The first '"' not escaped by a backslash, or null.
DRUTILS_API const wchar_t* findEndingQuote(const wchar_t* s);
// "2.500" -> "2.5", "3.000" -> "3", "100" stays. Returns s.
DRUTILS_API OdString& trimTrailingZeros(OdString& s, const wchar_t& separator = L'.');
// Shortens s in place to maxLen characters with "..." at the beginning (mode "b")
// or the end (mode "e"); nothing happens when maxLen < 4 or s already fits.
DRUTILS_API void truncateWithDots(wchar_t* s, int maxLen, const wchar_t* mode);

// Further helpers.
// Removes one pair of enclosing double quotes (or single quotes) if both ends carry one.
DRUTILS_API OdString trimQuotes(const OdString& s);
// Pads with c to at least len characters.
DRUTILS_API OdString padAtLeftSide(const OdString& s, int len, wchar_t c = L' ');
DRUTILS_API OdString padAtRightSide(const OdString& s, int len, wchar_t c = L' ');
// Removes every white-space character.
DRUTILS_API OdString removeSpaces(const OdString& s);
DRUTILS_API bool startsWith(const OdString& s, const OdString& prefix, bool ignoreCase = false);
DRUTILS_API bool startsWithAny(const OdString& s, const OdArray<OdString>& prefixes, bool ignoreCase = false);
DRUTILS_API bool endsWith(const OdString& s, const OdString& suffix, bool ignoreCase = false);
// s without its last n characters (empty when n >= length).
DRUTILS_API OdString removeLast(const OdString& s, int n = 1);
// The part before the first c (all of s when c is absent) and after it (empty when absent).
DRUTILS_API OdString beforeFirst(const OdString& s, wchar_t c);
DRUTILS_API OdString afterFirst(const OdString& s, wchar_t c);
// Copies at most n-1 characters and always terminates dst (when n > 0); returns dst.
DRUTILS_API wchar_t* safe_tcsncpy(wchar_t* dst, const wchar_t* src, size_t n);
// Every "/" becomes "\".
DRUTILS_API OdString makeBackSlashes(const OdString& s);
// Decimal numbers: optional blanks, sign, digits with at most one decimal separator,
// optional exponent; at least one digit.
DRUTILS_API bool isNumber(const OdString& s, wchar_t separator = L'.');
// Optional blanks, optional sign, digits.
DRUTILS_API bool isInteger(const OdString& s);
// A "%.Nf" format whose N is the number of digits after the separator in s (0 if none).
DRUTILS_API OdString getNumberFormat(const OdString& s, wchar_t separator = L'.');
// Removes multi-line text format codes (\P paragraphs become blanks, \H1.5; \C2; \f...;
// and the like disappear, braces that group formats disappear, \\ \{ \} become
// their characters).
DRUTILS_API OdString removeFormatting(const OdString& s);
// Whether c is one of the letters of a multi-line text format code.
DRUTILS_API bool isFormattingChar(wchar_t c);
// Whether the code letter c takes a value ended by ";" (\H1.5; \C2;).
DRUTILS_API bool isMTextFormatCodeWithValue(wchar_t c);
DRUTILS_API bool isLeftToRightChar(wchar_t c);
DRUTILS_API bool isRightToLeftChar(wchar_t c);
// Position of needle in s ignoring case, from start; -1 when absent.
DRUTILS_API int findSubstringNoCase(const OdString& s, const OdString& needle, int start = 0);
// Reads one line from a narrow stream into a wide buffer of n characters (UTF-8 text),
// without the line end; returns buf, or null at end of file.
DRUTILS_API wchar_t* nfgets(wchar_t* buf, int n, FILE* f);
// Splits a slide reference "library(slide)" into its library and slide name;
// a text without parentheses is a slide name alone. False when the parentheses are
// unbalanced.
DRUTILS_API bool splitSlideSpecification(const OdString& s, OdString& library, OdString& slide);

} // namespace ut
