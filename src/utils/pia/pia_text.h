// The decompressed text of a parameter file as the lines its parser reads.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>

#include "pia.h"

namespace pia {

// Lines are cut where the application's reader cuts them: a line ends after its
// line feed or after 511 bytes, whichever comes first (so a longer physical line
// arrives in pieces), a carriage return before a line feed is not part of the text
// (Windows writers end lines with CR LF), and a NUL byte ends what is visible of a
// line, since lines are handed on as C strings. The text is UTF-8 when all of it
// is well-formed UTF-8, else it is in the ANSI code page.
class TextLines {
public:
    static constexpr size_t kMaxPiece = 511;

    void assign(std::string text);
    void clear();
    // Back to the first line.
    void rewind() {
        m_pos = 0;
        m_ended = false;
    }
    // The next line without its line feed, valid until the next call; null at the end.
    const wchar_t* next();
    // The whole text.
    const char* data() const { return m_text.data(); }
    size_t size() const { return m_text.size(); }
    // Characters of the line next() gave last.
    size_t length() const { return m_length; }
    // Whether every byte of the text is ASCII: then nextBytes may be used instead
    // of next, and reads the same lines without widening them.
    bool isAscii() const { return m_ascii; }
    // The line next() would give, as the bytes of the text it is made of; false
    // at the end. Only for an ASCII text.
    bool nextBytes(const char*& line, size_t& length);
    bool lineEnded() const { return m_ended; }
    bool isUtf8() const { return m_utf8; }

private:
    // Where the next line lies in the text, its line feed and a carriage return
    // before it left out; false at the end.
    bool cut(const char*& p, size_t& content);

    std::string m_text;
    size_t m_pos = 0;
    bool m_utf8 = true;
    bool m_ascii = true;
    bool m_ended = false;
    bool m_nul = false; // whether the text holds a NUL byte anywhere
    int m_codePage = 0;
    size_t m_length = 0;
    wchar_t m_line[kMaxPiece + 1] = {};
};

// Inline: the parser takes every line through these.
inline bool TextLines::cut(const char*& line, size_t& length) {
    const size_t size = m_text.size();
    m_ended = false;
    if (m_pos >= size)
        return false;
    const char* p = m_text.data() + m_pos;
    const size_t left = size - m_pos;

    // Only a carriage return right before a line feed (or at the very end) leaves
    // the text, so a piece's line feed, if it has one, lies within 512 bytes: at
    // 511 only when a carriage return before it made room.
    const void* found = std::memchr(p, '\n', std::min(left, kMaxPiece + 1));
    size_t lf = found ? size_t(static_cast<const char*>(found) - p) : size_t(-1);
    size_t take, content;
    if (lf < kMaxPiece || (lf == kMaxPiece && p[kMaxPiece - 1] == '\r')) {
        m_ended = true;
        take = lf + 1;
        content = lf;
        if (content > 0 && p[content - 1] == '\r')
            --content;
    } else {
        take = std::min(left, kMaxPiece);
        content = take;
        if (take == left && p[content - 1] == '\r') {
            --content;
            if (content == 0) {
                m_pos = size;
                return false;
            }
        }
    }
    m_pos += take;
    line = p;
    length = content;
    return true;
}

inline bool TextLines::nextBytes(const char*& line, size_t& length) {
    if (!cut(line, length))
        return false;
    // A NUL ends what the wide line shows.
    if (m_nul)
        if (const void* nul = std::memchr(line, '\0', length))
            length = size_t(static_cast<const char*>(nul) - line);
    m_length = length;
    return true;
}

// Shared by the parser and the readers that take a text straight from its lines.

// Whole-value comparison folding A-Z only: "TRUE " with a blank is not a boolean.
template <typename Char> bool equalsAsciiNoCase(const Char* s, const Char* end, const char* lower) {
    for (; s < end && *lower; ++s, ++lower) {
        auto c = static_cast<uint32_t>(static_cast<std::make_unsigned_t<Char>>(*s));
        if (c >= 'A' && c <= 'Z')
            c += 'a' - 'A';
        if (c != static_cast<uint32_t>(*lower))
            return false;
    }
    return s == end && *lower == '\0';
}

// Characters that end a key's run of characters: a blank, "=", "{" and "}".
struct KeyStops {
    bool stop[256] = {};
    constexpr KeyStops() { stop[int(' ')] = stop[int('=')] = stop[int('{')] = stop[int('}')] = true; }
};
inline constexpr KeyStops kKeyStops;

inline bool isKeyStop(char c) { return kKeyStops.stop[static_cast<unsigned char>(c)]; }
inline bool isKeyStop(wchar_t c) {
    const auto u = static_cast<uint32_t>(c);
    return u < 256 && kKeyStops.stop[u];
}

// The first character of [p, end) that ends a key's run (end when none); for
// bytes, eight at a time.
inline const wchar_t* keyRunEnd(const wchar_t* p, const wchar_t* end) {
    while (p < end && !isKeyStop(*p))
        ++p;
    return p;
}
inline const char* keyRunEnd(const char* p, const char* end) {
    if constexpr (std::endian::native == std::endian::little) {
        constexpr uint64_t kOnes = 0x0101010101010101ull, kHighs = 0x8080808080808080ull;
        // High bit set in the byte where w has c, and maybe in bytes after it,
        // never before: the lowest one found is the first match.
        auto has = [](uint64_t w, unsigned char c) {
            const uint64_t x = w ^ (kOnes * c);
            return (x - kOnes) & ~x & kHighs;
        };
        for (; end - p >= 8; p += 8) {
            uint64_t w;
            std::memcpy(&w, p, 8);
            if (const uint64_t m = has(w, ' ') | has(w, '=') | has(w, '{') | has(w, '}'))
                return p + (std::countr_zero(m) >> 3);
        }
    }
    while (p < end && !isKeyStop(*p))
        ++p;
    return p;
}

// Whether bytes are well-formed UTF-8 (plain ASCII is).
bool isUtf8Text(const std::string& bytes);

} // namespace pia

// The reader's state, here so that the parser can take the lines as bytes.
struct CPIAFileIn::InImpl {
    pia::TextLines lines;
    bool open = false;
    uint64_t maxText = kDefaultMaxTextSize;
    // Whether the file begins as a container does; only to tell a user why a
    // file that fails to read failed, never to refuse one that reads.
    bool headerText = false;
};
