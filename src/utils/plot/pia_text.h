// The decompressed text of a parameter file as the lines its parser reads.
#pragma once

#include <cstddef>
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>

#include "pia.h"

namespace pia {

// Lines are cut where the application's reader cuts them: a line ends after its
// line feed or after 511 bytes, whichever comes first (so a longer physical line
// arrives in pieces), a carriage return before a line feed is not part of the text
// (Windows writers end lines with CR LF), and a NUL byte ends what is visible of a
// line, since lines are handed on as C strings. The text is UTF-8 when all of it is well-formed UTF-8, else it is in the
// ANSI code page.
class TextLines {
public:
    static constexpr size_t kMaxPiece = 511;

    void assign(std::string text);
    void clear();
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
