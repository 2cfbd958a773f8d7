#include "od/OdString.h"

#include <vector>

#include "platform/codepage.h"

const OdString OdString::kEmpty;

OdString::OdString(const char* s) : m_s(s ? ut::platform::utf8ToWide(s) : std::wstring()) {}

int OdString::iCompare(const wchar_t* s) const {
    const wchar_t* a = m_s.c_str();
    const wchar_t* b = s ? s : L"";
    for (;; ++a, ++b) {
        wint_t ca = towlower(wint_t(*a)), cb = towlower(wint_t(*b));
        if (ca != cb)
            return ca < cb ? -1 : 1;
        if (!*a)
            return 0;
    }
}

OdString OdString::right(int n) const {
    if (n <= 0)
        return OdString();
    if (n >= getLength())
        return *this;
    return OdString(m_s.substr(m_s.size() - size_t(n)));
}

OdString OdString::mid(int start, int n) const {
    if (start < 0)
        start = 0;
    if (start >= getLength() || n <= 0)
        return OdString();
    return OdString(m_s.substr(size_t(start), size_t(n)));
}

int OdString::replace(wchar_t from, wchar_t to) {
    int count = 0;
    for (auto& c : m_s)
        if (c == from) {
            c = to;
            ++count;
        }
    return count;
}

int OdString::replace(const wchar_t* from, const wchar_t* to) {
    if (!from || !*from)
        return 0;
    std::wstring f(from), t(to ? to : L"");
    int count = 0;
    for (size_t p = m_s.find(f); p != std::wstring::npos; p = m_s.find(f, p + t.size())) {
        m_s.replace(p, f.size(), t);
        ++count;
    }
    return count;
}

int OdString::remove(wchar_t c) {
    size_t before = m_s.size();
    std::erase(m_s, c);
    return int(before - m_s.size());
}

OdString& OdString::insert(int at, const wchar_t* s) {
    if (s) {
        if (at < 0)
            at = 0;
        if (at > getLength())
            at = getLength();
        m_s.insert(size_t(at), s);
    }
    return *this;
}

OdString& OdString::deleteChars(int at, int n) {
    if (at >= 0 && at < getLength() && n > 0)
        m_s.erase(size_t(at), size_t(n));
    return *this;
}

OdString& OdString::makeUpper() {
    for (auto& c : m_s)
        c = wchar_t(towupper(wint_t(c)));
    return *this;
}

OdString& OdString::makeLower() {
    for (auto& c : m_s)
        c = wchar_t(towlower(wint_t(c)));
    return *this;
}

OdString& OdString::trimLeft() {
    size_t i = 0;
    while (i < m_s.size() && iswspace(wint_t(m_s[i])))
        ++i;
    m_s.erase(0, i);
    return *this;
}

OdString& OdString::trimRight() {
    while (!m_s.empty() && iswspace(wint_t(m_s.back())))
        m_s.pop_back();
    return *this;
}

OdString& OdString::trimLeft(wchar_t c) {
    size_t i = 0;
    while (i < m_s.size() && m_s[i] == c)
        ++i;
    m_s.erase(0, i);
    return *this;
}

OdString& OdString::trimRight(wchar_t c) {
    while (!m_s.empty() && m_s.back() == c)
        m_s.pop_back();
    return *this;
}

OdString& OdString::format(const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    formatV(fmt, args);
    va_end(args);
    return *this;
}

OdString& OdString::formatV(const wchar_t* fmt, va_list args) {
    m_s.clear();
    if (!fmt)
        return *this;
    std::vector<wchar_t> buf(256);
    for (;;) {
        va_list copy;
        va_copy(copy, args);
        int n = std::vswprintf(buf.data(), buf.size(), fmt, copy);
        va_end(copy);
        if (n >= 0) {
            m_s.assign(buf.data(), size_t(n));
            return *this;
        }
        // vswprintf also fails on a character the locale cannot encode; stop
        // growing at some point instead of looping for ever.
        if (buf.size() >= (1u << 24))
            return *this;
        buf.resize(buf.size() * 4);
    }
}
