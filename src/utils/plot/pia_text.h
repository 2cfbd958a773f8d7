// The decompressed text of a parameter file as the lines its parser reads.
#pragma once

#include <cstddef>
#include <string>

namespace pia {

// Lines are cut where the application's reader cuts them: a line ends after its
// line feed or after 511 bytes, whichever comes first (so a longer physical line
// arrives in pieces), a carriage return before a line feed is not part of the text
// (Windows writers end lines with CR LF), and a NUL byte ends what is visible of a
// line. The text is UTF-8 when all of it is well-formed UTF-8, else it is in the
// ANSI code page.
class TextLines {
public:
    static constexpr size_t kMaxPiece = 511;

    void assign(std::string text);
    void clear();
    // The next line without its line feed, valid until the next call; null at the end.
    const wchar_t* next();
    bool lineEnded() const { return m_ended; }
    // Length of the line next() returned last.
    size_t length() const { return m_length; }
    bool isUtf8() const { return m_utf8; }

private:
    std::string m_text;
    size_t m_pos = 0;
    bool m_utf8 = true;
    bool m_ascii = true;
    bool m_hasNul = false;
    bool m_ended = false;
    size_t m_length = 0;
    int m_codePage = 0;
    wchar_t m_line[kMaxPiece + 1] = {};
};

// Whether bytes are well-formed UTF-8 (plain ASCII is).
bool isUtf8Text(const std::string& bytes);

} // namespace pia
