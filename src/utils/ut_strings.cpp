#include "ut_strings.h"

#include <algorithm>
#include <cstring>
#include <cwctype>
#include <string>

#include "platform/codepage.h"

namespace ut {

namespace {

bool isHex(wchar_t c) {
    return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'F') || (c >= L'a' && c <= L'f');
}

wchar_t foldAscii(wchar_t c) { return (c >= L'A' && c <= L'Z') ? wchar_t(c - L'A' + L'a') : c; }

void appendPart(OdArray<OdString>& out, const std::wstring& part, bool keepEmpty) {
    if (keepEmpty || !part.empty())
        out.append(OdString(part));
}

} // namespace

// ---------------------------------------------------------------- splitting

void split(OdArray<OdString>& out, const OdString& text, const OdArray<OdString>& delimiters, bool keepEmpty,
           bool keepDelimiters) {
    std::vector<std::wstring> delims;
    for (const auto& d : delimiters)
        if (!d.isEmpty())
            delims.push_back(d.str());
    // Longest first, so that of two delimiters found at one place the longer wins.
    std::stable_sort(delims.begin(), delims.end(),
                     [](const std::wstring& a, const std::wstring& b) { return a.size() > b.size(); });

    const std::wstring& s = text.str();
    if (delims.empty()) {
        appendPart(out, s, keepEmpty);
        return;
    }
    size_t pos = 0;
    for (;;) {
        size_t best = std::wstring::npos;
        const std::wstring* bestDelim = nullptr;
        for (const auto& d : delims) {
            size_t at = s.find(d, pos);
            if (at < best) {
                best = at;
                bestDelim = &d;
            }
        }
        if (!bestDelim) {
            appendPart(out, s.substr(pos), keepEmpty);
            return;
        }
        appendPart(out, s.substr(pos, best - pos), keepEmpty);
        if (keepDelimiters)
            out.append(OdString(*bestDelim));
        pos = best + bestDelim->size();
    }
}

void split(OdArray<OdString>& out, const OdString& text, const OdString& delimiter, bool keepEmpty,
           bool keepDelimiters) {
    OdArray<OdString> delimiters;
    delimiters.append(delimiter);
    split(out, text, delimiters, keepEmpty, keepDelimiters);
}

void splitByChar(OdArray<OdString>& out, const OdString& text, wchar_t c) {
    const std::wstring& s = text.str();
    if (s.empty())
        return;
    size_t start = 0;
    for (;;) {
        size_t at = s.find(c, start);
        out.append(OdString(s.substr(start, at == std::wstring::npos ? std::wstring::npos : at - start)));
        if (at == std::wstring::npos)
            return;
        start = at + 1;
    }
}

void splitLines(OdArray<OdString>& out, const OdString& text, bool keepEmpty) {
    OdArray<OdString> delimiters;
    delimiters.append(L"\r\n");
    delimiters.append(L"\n");
    delimiters.append(L"\r");
    split(out, text, delimiters, keepEmpty, false);
}

// ---------------------------------------------------------------- checks

bool isValidName(const wchar_t* name) {
    // The wide-character tests below depend on the character-type locale; the
    // application sets it to the user's ANSI code page while it checks names.
    platform::ScopedCodePageLocale locale(platform::ansiCodePage());
    if (!name)
        return false;
    static const wchar_t kForbidden[] = L"\"*,/:;<=>?\\`|";
    const wchar_t* p = name;
    int count = 0;
    while (*p && count < 256) {
        // The escapes are upper-case only: in "a\u+0041" the backslash starts
        // no escape and stops the scan.
        if (p[0] == L'\\' && p[1] == L'U' && p[2] == L'+' && isHex(p[3]) && isHex(p[4]) && isHex(p[5]) &&
            isHex(p[6])) {
            p += 7;
            count += 6;
            continue;
        }
        if (p[0] == L'\\' && p[1] == L'M' && p[2] == L'+' && p[3] >= L'0' && p[3] <= L'9' && isHex(p[4]) &&
            isHex(p[5]) && isHex(p[6]) && isHex(p[7])) {
            p += 8;
            count += 7;
            continue;
        }
        if (std::wcschr(kForbidden, *p))
            break;
        ++p;
        ++count;
    }
    return count != 0 && count < 256 && *p == 0;
}

bool hasWildcard(const wchar_t* s) {
    if (!s)
        return false;
    for (; *s; ++s)
        if (std::wcschr(L"*?,.#@`[~", *s))
            return true;
    return false;
}

int compareNamesLowercase(const wchar_t* a, const wchar_t* b, size_t n) {
    if (!a)
        a = L"";
    if (!b)
        b = L"";
    int diff = 0;
    for (size_t i = 0;; ++i) {
        wchar_t ca = foldAscii(a[i]);
        wchar_t cb = foldAscii(b[i]);
        diff = int(ca) - int(cb);
        if (diff != 0 || ca == 0 || (n != 0 && i + 1 >= n))
            return diff;
    }
}

void replaceSymbol(wchar_t* s, wchar_t from, wchar_t to) {
    if (!s)
        return;
    for (; *s; ++s)
        if (*s == from)
            *s = to;
}

bool checkSlashes(const wchar_t* s) { return !s || !std::wcschr(s, L'/'); }

OdString& correctSlashes(OdString& s) {
    for (auto& c : s.str()) {
        if (c == L'/')
            c = L'\\';
        else if (c == L'|')
            c = L' ';
    }
    return s;
}

OdString correctSlashes(const OdString& s) {
    OdString copy(s);
    return correctSlashes(copy);
}

OdString correctSlashes(const wchar_t* s) {
    OdString copy(s);
    return correctSlashes(copy);
}

bool isValidHexDigit(wchar_t c) { return isHex(c); }

bool isValidHandleString(const wchar_t* s) {
    if (!s || !*s)
        return false;
    while (*s == L' ')
        ++s;
    for (; *s; ++s)
        if (!isHex(*s))
            return false;
    return true;
}

const wchar_t* findEndingQuote(const wchar_t* s) {
    if (!s)
        return nullptr;
    for (; *s; ++s) {
        if (*s == L'\\' && s[1]) {
            ++s; // the escaped character, whatever it is
            continue;
        }
        if (*s == L'"')
            return s;
    }
    return nullptr;
}

// ---------------------------------------------------------------- editing

OdString& trimTrailingZeros(OdString& s, const wchar_t& separator) {
    std::wstring& w = s.str();
    size_t sep = w.rfind(separator);
    if (sep != std::wstring::npos && sep > 0) {
        size_t removable = w.size() - sep - 1;
        while (removable > 0 && !w.empty() && w.back() == L'0') {
            w.pop_back();
            --removable;
        }
    }
    if (!w.empty() && w.back() == separator)
        w.pop_back();
    return s;
}

void truncateWithDots(wchar_t* s, int maxLen, const wchar_t* mode) {
    if (!s || maxLen < 4 || !mode)
        return;
    const size_t len = std::wcslen(s);
    if (len <= size_t(maxLen))
        return;
    const size_t keep = size_t(maxLen) - 3;
    switch (std::towlower(wint_t(*mode))) {
    case L'b':
        std::wmemmove(s + 3, s + len - keep, keep);
        std::wmemcpy(s, L"...", 3);
        break;
    case L'e':
        std::wmemcpy(s + keep, L"...", 3);
        break;
    default:
        return;
    }
    s[maxLen] = 0;
}

OdString trimQuotes(const OdString& s) {
    const std::wstring& w = s.str();
    if (w.size() >= 2 && (w.front() == L'"' || w.front() == L'\'') && w.back() == w.front())
        return OdString(w.substr(1, w.size() - 2));
    return s;
}

OdString padAtLeftSide(const OdString& s, int len, wchar_t c) {
    if (s.getLength() >= len)
        return s;
    return OdString(c, len - s.getLength()) + s;
}

OdString padAtRightSide(const OdString& s, int len, wchar_t c) {
    if (s.getLength() >= len)
        return s;
    return s + OdString(c, len - s.getLength());
}

OdString removeSpaces(const OdString& s) {
    std::wstring w;
    for (wchar_t c : s.str())
        if (!std::iswspace(wint_t(c)))
            w += c;
    return OdString(std::move(w));
}

namespace {
bool equalAt(const std::wstring& s, size_t at, const std::wstring& part, bool ignoreCase) {
    if (at + part.size() > s.size())
        return false;
    for (size_t i = 0; i < part.size(); ++i) {
        wchar_t a = s[at + i], b = part[i];
        if (ignoreCase ? std::towlower(wint_t(a)) != std::towlower(wint_t(b)) : a != b)
            return false;
    }
    return true;
}
} // namespace

bool startsWith(const OdString& s, const OdString& prefix, bool ignoreCase) {
    return equalAt(s.str(), 0, prefix.str(), ignoreCase);
}

bool startsWithAny(const OdString& s, const OdArray<OdString>& prefixes, bool ignoreCase) {
    for (const auto& p : prefixes)
        if (startsWith(s, p, ignoreCase))
            return true;
    return false;
}

bool endsWith(const OdString& s, const OdString& suffix, bool ignoreCase) {
    if (suffix.getLength() > s.getLength())
        return false;
    return equalAt(s.str(), size_t(s.getLength() - suffix.getLength()), suffix.str(), ignoreCase);
}

OdString removeLast(const OdString& s, int n) {
    if (n <= 0)
        return s;
    return n >= s.getLength() ? OdString() : s.left(s.getLength() - n);
}

OdString beforeFirst(const OdString& s, wchar_t c) {
    int at = s.find(c);
    return at < 0 ? s : s.left(at);
}

OdString afterFirst(const OdString& s, wchar_t c) {
    int at = s.find(c);
    return at < 0 ? OdString() : s.mid(at + 1);
}

wchar_t* safe_tcsncpy(wchar_t* dst, const wchar_t* src, size_t n) {
    if (!dst || n == 0)
        return dst;
    size_t i = 0;
    if (src)
        for (; i + 1 < n && src[i]; ++i)
            dst[i] = src[i];
    dst[i] = 0;
    return dst;
}

OdString makeBackSlashes(const OdString& s) {
    OdString r(s);
    r.replace(L'/', L'\\');
    return r;
}

namespace {
// Position after leading blanks and an optional sign.
size_t skipBlanksAndSign(const std::wstring& w) {
    size_t i = 0;
    while (i < w.size() && std::iswspace(wint_t(w[i])))
        ++i;
    if (i < w.size() && (w[i] == L'+' || w[i] == L'-'))
        ++i;
    return i;
}
} // namespace

bool isNumber(const OdString& s, wchar_t separator) {
    const std::wstring& w = s.str();
    size_t i = skipBlanksAndSign(w), n = w.size();
    size_t digits = 0;
    bool seenSeparator = false;
    for (; i < n; ++i) {
        if (w[i] >= L'0' && w[i] <= L'9')
            ++digits;
        else if (w[i] == separator && !seenSeparator)
            seenSeparator = true;
        else
            break;
    }
    if (digits == 0)
        return false;
    if (i < n && (w[i] == L'e' || w[i] == L'E')) {
        ++i;
        if (i < n && (w[i] == L'+' || w[i] == L'-'))
            ++i;
        size_t expDigits = 0;
        while (i < n && w[i] >= L'0' && w[i] <= L'9')
            ++i, ++expDigits;
        if (expDigits == 0)
            return false;
    }
    while (i < n && std::iswspace(wint_t(w[i])))
        ++i;
    return i == n;
}

bool isInteger(const OdString& s) {
    const std::wstring& w = s.str();
    size_t i = skipBlanksAndSign(w), n = w.size();
    size_t digits = 0;
    while (i < n && w[i] >= L'0' && w[i] <= L'9')
        ++i, ++digits;
    while (i < n && std::iswspace(wint_t(w[i])))
        ++i;
    return digits > 0 && i == n;
}

OdString getNumberFormat(const OdString& s, wchar_t separator) {
    int at = s.reverseFind(separator);
    int decimals = 0;
    if (at >= 0)
        for (int i = at + 1; i < s.getLength() && s.getAt(i) >= L'0' && s.getAt(i) <= L'9'; ++i)
            ++decimals;
    OdString f;
    f.format(L"%%.%df", decimals);
    return f;
}

bool isMTextFormatCodeWithValue(wchar_t c) { return std::wcschr(L"ACcFfHpQTW", c) != nullptr && c; }

bool isFormattingChar(wchar_t c) { return c && std::wcschr(L"ACcFfHLlOoKkNPpQSTWX~", c) != nullptr; }

OdString removeFormatting(const OdString& s) {
    const std::wstring& w = s.str();
    std::wstring out;
    for (size_t i = 0; i < w.size(); ++i) {
        wchar_t c = w[i];
        if (c == L'{' || c == L'}')
            continue;
        if (c != L'\\' || i + 1 >= w.size()) {
            out += c;
            continue;
        }
        wchar_t code = w[++i];
        if (code == L'\\' || code == L'{' || code == L'}') {
            out += code;
        } else if (code == L'P' || code == L'X') {
            out += L' ';
        } else if (code == L'~') {
            out += L' ';
        } else if (code == L'S') {
            // Stacked text "\S1/2;" keeps its characters.
            size_t end = w.find(L';', i + 1);
            size_t stop = end == std::wstring::npos ? w.size() : end;
            for (size_t k = i + 1; k < stop; ++k)
                out += (w[k] == L'^' || w[k] == L'#') ? L'/' : w[k];
            i = stop;
        } else if (isMTextFormatCodeWithValue(code)) {
            size_t end = w.find(L';', i + 1);
            i = end == std::wstring::npos ? w.size() : end;
        } else if (isFormattingChar(code)) {
            // a toggle such as \L or \o: nothing to keep
        } else {
            out += L'\\';
            out += code;
        }
    }
    return OdString(std::move(out));
}

bool isRightToLeftChar(wchar_t c) {
    return (c >= 0x0590 && c <= 0x08FF) || (c >= 0xFB1D && c <= 0xFDFF) || (c >= 0xFE70 && c <= 0xFEFF) ||
           c == 0x200F || c == 0x202B || c == 0x202E || (c >= 0x10800 && c <= 0x10FFF) ||
           (c >= 0x1E800 && c <= 0x1EFFF);
}

bool isLeftToRightChar(wchar_t c) {
    if (isRightToLeftChar(c))
        return false;
    return (c >= L'A' && c <= L'Z') || (c >= L'a' && c <= L'z') || (c >= 0x00C0 && c <= 0x024F && c != 0xD7 && c != 0xF7) ||
           (c >= 0x0370 && c <= 0x058F) || (c >= 0x0900 && c <= 0x0DFF) || (c >= 0x0E00 && c <= 0x0E7F) ||
           (c >= 0x1E00 && c <= 0x1FFF) || (c >= 0x3040 && c <= 0x9FFF) || (c >= 0xAC00 && c <= 0xD7AF) ||
           c == 0x200E || c == 0x202A || c == 0x202D;
}

int findSubstringNoCase(const OdString& s, const OdString& needle, int start) {
    if (start < 0)
        start = 0;
    const std::wstring& w = s.str();
    const std::wstring& n = needle.str();
    if (size_t(start) > w.size())
        return -1;
    for (size_t at = size_t(start); at + n.size() <= w.size(); ++at)
        if (equalAt(w, at, n, true))
            return int(at);
    return -1;
}

wchar_t* nfgets(wchar_t* buf, int n, FILE* f) {
    if (!buf || n <= 0 || !f)
        return nullptr;
    std::string bytes;
    int chars = 0;
    bool any = false;
    for (int c; (c = std::fgetc(f)) != EOF;) {
        any = true;
        if (c == '\n')
            break;
        if (c == '\r') {
            int next = std::fgetc(f);
            if (next == '\n')
                break;
            if (next != EOF)
                std::ungetc(next, f);
        }
        bool startsChar = (c & 0xC0) != 0x80;
        if (startsChar && chars == n - 1) {
            std::ungetc(c, f); // the rest of a long line comes with the next call
            break;
        }
        if (startsChar)
            ++chars;
        bytes += char(c);
    }
    if (!any)
        return nullptr;
    std::wstring w = platform::utf8ToWide(bytes);
    safe_tcsncpy(buf, w.c_str(), size_t(n));
    return buf;
}

bool splitSlideSpecification(const OdString& s, OdString& library, OdString& slide) {
    int open = s.find(L'(');
    int close = s.reverseFind(L')');
    if (open < 0 && close < 0) {
        library.empty();
        slide = s;
        return true;
    }
    if (open < 0 || close < open || close != s.getLength() - 1)
        return false;
    library = s.left(open);
    slide = s.mid(open + 1, close - open - 1);
    return true;
}

} // namespace ut
