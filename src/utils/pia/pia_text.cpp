#include "pia/pia_text.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <cwchar>

#include "platform/codepage.h"

namespace pia {

namespace {

bool isAscii(const char* p, size_t n) {
    size_t i = 0;
    for (; i + 8 <= n; i += 8) {
        uint64_t w;
        std::memcpy(&w, p + i, 8);
        if (w & 0x8080808080808080ull)
            return false;
    }
    for (; i < n; ++i)
        if (static_cast<unsigned char>(p[i]) & 0x80)
            return false;
    return true;
}

// UTF-8 to wide, one U+FFFD for every byte that does not start a well-formed
// sequence; a piece cut inside a character thus shows replacement characters on
// both sides of the cut, as the application shows them.
size_t decodeUtf8(const unsigned char* s, size_t n, wchar_t* out) {
    size_t i = 0, k = 0;
    while (i < n) {
        unsigned c = s[i];
        if (c < 0x80) {
            out[k++] = wchar_t(c);
            ++i;
            continue;
        }
        size_t len = 0;
        unsigned cp = 0, min = 0;
        if ((c & 0xE0) == 0xC0)
            len = 2, cp = c & 0x1F, min = 0x80;
        else if ((c & 0xF0) == 0xE0)
            len = 3, cp = c & 0x0F, min = 0x800;
        else if ((c & 0xF8) == 0xF0)
            len = 4, cp = c & 0x07, min = 0x10000;
        bool ok = len != 0 && i + len <= n;
        for (size_t j = 1; ok && j < len; ++j) {
            if ((s[i + j] & 0xC0) != 0x80)
                ok = false;
            else
                cp = (cp << 6) | (s[i + j] & 0x3F);
        }
        if (ok && (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)))
            ok = false;
        if (ok) {
            out[k++] = wchar_t(cp);
            i += len;
        } else {
            out[k++] = wchar_t(0xFFFD);
            ++i;
        }
    }
    return k;
}

} // namespace

bool isUtf8Text(const std::string& bytes) {
    return isAscii(bytes.data(), bytes.size()) || ut::platform::isValidUtf8(bytes);
}

void TextLines::assign(std::string text) {
    m_text = std::move(text);
    m_pos = 0;
    m_ended = false;
    m_ascii = pia::isAscii(m_text.data(), m_text.size());
    m_nul = std::memchr(m_text.data(), '\0', m_text.size()) != nullptr;
    m_utf8 = m_ascii || ut::platform::isValidUtf8(m_text);
    m_codePage = m_utf8 ? ut::platform::kCodePageUtf8 : ut::platform::ansiCodePage();
}

void TextLines::clear() {
    m_text.clear();
    m_text.shrink_to_fit();
    m_pos = 0;
    m_ended = false;
}

const wchar_t* TextLines::next() {
    const char* p;
    size_t content;
    if (!cut(p, content))
        return nullptr;

    size_t len;
    if (m_ascii || pia::isAscii(p, content)) {
        for (size_t i = 0; i < content; ++i)
            m_line[i] = wchar_t(static_cast<unsigned char>(p[i]));
        len = content;
    } else if (m_utf8) {
        len = decodeUtf8(reinterpret_cast<const unsigned char*>(p), content, m_line);
    } else {
        std::wstring w = ut::platform::codePageToWide(std::string_view(p, content), m_codePage);
        len = std::min(w.size(), kMaxPiece);
        w.copy(m_line, len);
        if (len == 0) {
            // A conversion that gives nothing still must not lose the line:
            // every byte becomes the character of the same number.
            for (size_t i = 0; i < content; ++i)
                m_line[i] = wchar_t(static_cast<unsigned char>(p[i]));
            len = content;
        }
    }
    m_line[len] = L'\0';
    m_length = std::wcslen(m_line);
    return m_line;
}

} // namespace pia
