// OdString: the drawing SDK's wide string (wchar_t, as the SDK has it on Linux),
// reduced to the members drutils and its callers use. Value semantics over
// std::wstring; a null const wchar_t* is taken as the empty string.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cwchar>
#include <cwctype>
#include <string>

#include "drutils_export.h"

class DRUTILS_API OdString {
public:
    OdString() = default;
    OdString(const wchar_t* s) : m_s(s ? s : L"") {}
    OdString(const wchar_t* s, int n) : m_s(s ? std::wstring(s, n < 0 ? 0 : size_t(n)) : std::wstring()) {}
    OdString(wchar_t c, int n) : m_s(n > 0 ? size_t(n) : 0, c) {}
    OdString(const std::wstring& s) : m_s(s) {}
    OdString(std::wstring&& s) : m_s(std::move(s)) {}
    // Narrow text is taken as UTF-8.
    OdString(const char* s);

    static const OdString kEmpty;

    int getLength() const { return int(m_s.size()); }
    bool isEmpty() const { return m_s.empty(); }
    const wchar_t* c_str() const { return m_s.c_str(); }
    operator const wchar_t*() const { return m_s.c_str(); }
    const std::wstring& str() const { return m_s; }
    std::wstring& str() { return m_s; }

    wchar_t getAt(int i) const { return m_s[size_t(i)]; }
    void setAt(int i, wchar_t c) { m_s[size_t(i)] = c; }
    OdString& empty() { m_s.clear(); return *this; }

    OdString& operator=(const wchar_t* s) { m_s = s ? s : L""; return *this; }
    OdString& operator+=(const OdString& s) { m_s += s.m_s; return *this; }
    OdString& operator+=(const wchar_t* s) { if (s) m_s += s; return *this; }
    OdString& operator+=(wchar_t c) { m_s += c; return *this; }
    friend OdString operator+(const OdString& a, const OdString& b) { return OdString(a.m_s + b.m_s); }
    friend OdString operator+(const OdString& a, const wchar_t* b) { OdString r(a); r += b; return r; }
    friend OdString operator+(const wchar_t* a, const OdString& b) { OdString r(a); r += b; return r; }

    friend bool operator==(const OdString& a, const OdString& b) { return a.m_s == b.m_s; }
    friend bool operator==(const OdString& a, const wchar_t* b) { return a.m_s == (b ? b : L""); }
    friend bool operator!=(const OdString& a, const OdString& b) { return !(a == b); }
    friend bool operator!=(const OdString& a, const wchar_t* b) { return !(a == b); }
    friend bool operator<(const OdString& a, const OdString& b) { return a.m_s < b.m_s; }

    int compare(const wchar_t* s) const { return m_s.compare(s ? s : L""); }
    // Case-insensitive comparison (towlower of each character).
    int iCompare(const wchar_t* s) const;

    // Positions are 0-based; -1 means "not found".
    int find(wchar_t c, int start = 0) const { return toPos(m_s.find(c, size_t(start < 0 ? 0 : start))); }
    int find(const wchar_t* s, int start = 0) const { return toPos(m_s.find(s ? s : L"", size_t(start < 0 ? 0 : start))); }
    int reverseFind(wchar_t c) const { return toPos(m_s.rfind(c)); }
    int findOneOf(const wchar_t* set) const { return toPos(m_s.find_first_of(set ? set : L"")); }

    OdString left(int n) const { return OdString(m_s.substr(0, size_t(n < 0 ? 0 : n))); }
    OdString right(int n) const;
    OdString mid(int start) const { return start >= getLength() ? OdString() : OdString(m_s.substr(size_t(start < 0 ? 0 : start))); }
    OdString mid(int start, int n) const;

    int replace(wchar_t from, wchar_t to);
    int replace(const wchar_t* from, const wchar_t* to);
    int remove(wchar_t c);
    OdString& insert(int at, const wchar_t* s);
    OdString& deleteChars(int at, int n = 1);

    OdString& makeUpper();
    OdString& makeLower();
    OdString& trimLeft();
    OdString& trimRight();
    OdString& trimLeft(wchar_t c);
    OdString& trimRight(wchar_t c);

    // printf-style formatting with a wide format ("%ls" for wide strings).
    OdString& format(const wchar_t* fmt, ...);
    OdString& formatV(const wchar_t* fmt, va_list args);

private:
    static int toPos(size_t p) { return p == std::wstring::npos ? -1 : int(p); }
    std::wstring m_s;
};
