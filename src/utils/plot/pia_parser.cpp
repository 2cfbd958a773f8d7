// Parser of parameter-file text: named values, one per line, nested in named
// blocks. The syntax is what the application has always written and read, with
// its quirks kept (no closing quote on strings, no escapes, a missing final "}"
// accepted), so that files travel both ways between it and other programs.
#include <cwchar>
#include <string>
#include <vector>

#include "pia.h"
#include "plot/pia_text.h"

class CPIAParser::LineSource {
public:
    virtual ~LineSource() = default;
    virtual const wchar_t* next() = 0;
    // Whether the line next() gave last ended with a line feed (a longer one
    // comes in pieces).
    virtual bool ended() const = 0;
};

namespace {

class FileLines : public CPIAParser::LineSource {
public:
    explicit FileLines(CPIAFileIn& in) : m_in(in) {}
    const wchar_t* next() override { return m_in.readLine(); }
    bool ended() const override { return m_in.lineEnded(); }

private:
    CPIAFileIn& m_in;
};

class MemoryLines : public CPIAParser::LineSource {
public:
    explicit MemoryLines(pia::TextLines& lines) : m_lines(lines) {}
    const wchar_t* next() override { return m_lines.next(); }
    bool ended() const override { return m_lines.lineEnded(); }

private:
    pia::TextLines& m_lines;
};

// Whole-value comparison folding A-Z only: "TRUE " with a blank is not a boolean.
bool equalsAsciiNoCase(const wchar_t* s, const wchar_t* lower) {
    for (; *s && *lower; ++s, ++lower) {
        wchar_t c = *s;
        if (c >= L'A' && c <= L'Z')
            c = wchar_t(c - L'A' + L'a');
        if (c != *lower)
            return false;
    }
    return *s == *lower;
}

// The key before a delimiter: leading blanks skipped, no blank inside, blanks
// allowed before the delimiter. Only U+0020 counts as a blank; a tab is part of
// the key.
const wchar_t* extractKey(const wchar_t* line, const wchar_t* delimiter, std::wstring& key) {
    const wchar_t* p = line;
    while (p < delimiter && *p == L' ')
        ++p;
    if (p == delimiter)
        return L"empty name";
    const wchar_t* start = p;
    while (p < delimiter && *p != L' ')
        ++p;
    key.assign(start, p);
    while (p < delimiter && *p == L' ')
        ++p;
    return p == delimiter ? nullptr : L"blank inside a name";
}

} // namespace

CPIAParser::CPIAParser() = default;

CPIAParser::~CPIAParser() { delete m_root; }

bool CPIAParser::parse(const wchar_t* path) {
    delete m_root;
    m_root = nullptr;
    m_errorLine = 0;
    m_errorText.empty();
    CPIAFileIn in;
    m_openResult = in.open(path);
    if (m_openResult != 0) {
        m_errorText = in.errorText();
        if (m_errorText.isEmpty())
            m_errorText = ZlibEngine::resultText(m_openResult);
        return false;
    }
    FileLines lines(in);
    bool ok = parseLines(lines);
    in.close();
    return ok;
}

bool CPIAParser::parseText(const char* text, size_t size) {
    delete m_root;
    m_root = nullptr;
    m_errorLine = 0;
    m_errorText.empty();
    m_openResult = 0;
    pia::TextLines text_lines;
    text_lines.assign(std::string(text ? text : "", text ? size : 0));
    MemoryLines lines(text_lines);
    return parseLines(lines);
}

bool CPIAParser::parseLines(LineSource& lines) {
    m_root = new CPBlock(L"");
    // Blocks still open, innermost last. A block joins its parent only when it is
    // closed, so after a failure the root holds what was complete before the bad line.
    std::vector<CPBlock*> open;
    CPBlock* current = m_root;
    int lineNo = 0;
    std::wstring key;
    std::wstring payload;
    // What the tree costs so far: items, and characters of names and values.
    size_t items = 0, text = 0;

    // Whether the line being parsed is the rest of a longer one: the reader cuts
    // lines after 511 bytes, and a failure there is that line's length, not its syntax.
    bool continued = false;
    auto fail = [&](int line, const wchar_t* why) {
        m_errorLine = continued && line > 1 ? line - 1 : line;
        m_errorText = continued ? L"longer than the 511 bytes a line of the file may hold" : why;
        while (!open.empty()) {
            delete open.back();
            open.pop_back();
        }
        return false;
    };
    auto closeInnermost = [&]() {
        CPBlock* done = open.back();
        open.pop_back();
        current = open.empty() ? m_root : open.back();
        if (!current->add(done))
            delete done; // cannot happen: a second block of the name was refused when it opened
    };

    for (bool endedBefore = true;; endedBefore = lines.ended()) {
        const wchar_t* line = lines.next();
        if (!line)
            break;
        continued = !endedBefore;
        ++lineNo;
        // One pass finds the first "=", "{" and "}".
        const wchar_t* equals = nullptr;
        const wchar_t* opening = nullptr;
        const wchar_t* closing = nullptr;
        for (const wchar_t* q = line; *q; ++q) {
            const wchar_t c = *q;
            if (c == L'=') {
                if (!equals)
                    equals = q;
            } else if (c == L'{') {
                if (!opening)
                    opening = q;
            } else if (c == L'}') {
                if (!closing)
                    closing = q;
            }
        }
        if (closing && !open.empty()) {
            if (!equals) {
                closeInnermost();
                continue;
            }
            if (closing < equals)
                return fail(lineNo, L"\"}\" before \"=\"");
        }
        if (*line == L'\0')
            continue;
        if (equals && opening)
            return fail(lineNo, L"both \"=\" and \"{\" on one line");
        if (!equals && !opening)
            return fail(lineNo, L"neither \"=\" nor \"{\" on a line");

        if (opening) {
            if (const wchar_t* why = extractKey(line, opening, key))
                return fail(lineNo, why);
            if (current->find(key.c_str(), kPBlock))
                return fail(lineNo, L"second block of the same name");
            if (open.size() >= size_t(kMaxDepth))
                return fail(lineNo, L"blocks nested too deeply");
            if (++items > kMaxItems)
                return fail(lineNo, L"more items than a parameter file may hold");
            if ((text += key.size()) > kMaxTextLength)
                return fail(lineNo, L"more text than a parameter file may hold");
            open.push_back(new CPBlock(key.c_str()));
            current = open.back();
            continue;
        }

        const wchar_t* value = equals + 1;
        if (*value == L'\0')
            return fail(lineNo, L"nothing after \"=\"");
        if (const wchar_t* why = extractKey(line, equals, key))
            return fail(lineNo, why);
        if (++items > kMaxItems)
            return fail(lineNo, L"more items than a parameter file may hold");
        if ((text += key.size() + std::wcslen(value)) > kMaxTextLength)
            return fail(lineNo, L"more text than a parameter file may hold");
        CPItem* item;
        if (*value == L'"') {
            item = new CPStr(key.c_str(), value + 1);
        } else if (*value == L'\\') {
            // The value runs to the next backslash, over as many lines as it takes;
            // line ends are not part of it.
            const int firstLine = lineNo;
            payload.clear();
            const wchar_t* piece = value + 1;
            for (;;) {
                if (const wchar_t* end = std::wcschr(piece, L'\\')) {
                    payload.append(piece, end);
                    break;
                }
                payload += piece;
                piece = lines.next();
                if (!piece)
                    return fail(firstLine, L"binary value not closed");
                ++lineNo;
                if ((text += std::wcslen(piece)) > kMaxTextLength)
                    return fail(lineNo, L"more text than a parameter file may hold");
            }
            item = new CPBin(key.c_str(), payload.c_str());
        } else if (equalsAsciiNoCase(value, L"true") || equalsAsciiNoCase(value, L"false")) {
            item = new CPBool(key.c_str(), equalsAsciiNoCase(value, L"true"));
        } else {
            item = new CPNum(key.c_str(), value);
        }
        if (!current->add(item)) {
            delete item;
            return fail(lineNo, L"second item of the same name and kind");
        }
    }
    // A block left open at the end of the text counts as closed.
    while (!open.empty())
        closeInnermost();
    return true;
}
