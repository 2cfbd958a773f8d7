#include "config/ut_regfile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <cwchar>

#include "platform/cnumbers.h"
#include "platform/codepage.h"
#include "platform/files.h"
#include "ut_log.h"

namespace ut::regfile {

const wchar_t* const kHeader = L"Windows Registry Editor Version 5.00";

namespace {

void replaceAll(std::wstring& s, std::wstring_view from, std::wstring_view to) {
    size_t pos = 0;
    while ((pos = s.find(from, pos)) != std::wstring::npos) {
        s.replace(pos, from.size(), to);
        pos += to.size();
    }
}

bool startsWith(const std::wstring& s, std::wstring_view prefix) { return s.compare(0, prefix.size(), prefix) == 0; }

std::wstring trim(std::wstring_view s) {
    size_t a = 0, b = s.size();
    while (a < b && (s[a] == L' ' || s[a] == L'\t'))
        ++a;
    while (b > a && (s[b - 1] == L' ' || s[b - 1] == L'\t'))
        --b;
    return std::wstring(s.substr(a, b - a));
}

// Whether text ends with a double quote that no backslash escapes.
bool endsWithClosingQuote(std::wstring_view text) {
    if (text.size() < 2 || text.back() != L'"')
        return false;
    size_t backslashes = 0;
    for (size_t i = text.size() - 1; i > 0 && text[i - 1] == L'\\'; --i)
        ++backslashes;
    return backslashes % 2 == 0;
}

// Up to maxDigits hexadecimal digits, nothing else.
bool parseHexNumber(std::wstring_view text, size_t maxDigits, uint64_t& value) {
    if (text.empty() || text.size() > maxDigits)
        return false;
    value = 0;
    for (wchar_t c : text) {
        const int d = platform::hexDigit(c);
        if (d < 0)
            return false;
        value = value << 4 | uint64_t(d);
    }
    return true;
}

// "01,ab, ff," -> bytes; empty pieces (a trailing comma) are allowed.
bool appendHexBytes(std::wstring_view text, std::string& bytes) {
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(L',', start);
        if (end == std::wstring_view::npos)
            end = text.size();
        const std::wstring piece = trim(text.substr(start, end - start));
        if (!piece.empty()) {
            uint64_t v = 0;
            if (!parseHexNumber(piece, 2, v))
                return false;
            bytes += char(v);
        }
        start = end + 1;
    }
    return true;
}

} // namespace

ReadResult decodeLines(const std::string& bytes, std::vector<std::wstring>& lines, std::string& cause) {
    // Lone surrogates are kept: a registry string may hold them, as on Windows.
    std::wstring text = platform::decodeTextFile(bytes, true);
    while (!text.empty() && text.back() == L'\0')
        text.pop_back();
    if (text.find(L'\0') != std::wstring::npos) {
        lines.clear();
        cause = "it holds NUL characters: not a text file";
        return ReadResult::NotText;
    }
    lines = platform::splitLines(text);
    return ReadResult::Ok;
}

ReadResult readLines(const OdString& path, std::vector<std::wstring>& lines, std::string& cause) {
    lines.clear();
    FILE* f = platform::openFile(path, "rb");
    if (!f) {
        cause = std::strerror(errno);
        return errno == ENOENT ? ReadResult::NotFound : ReadResult::Unreadable;
    }
    const int64_t size = platform::fileSize(f);
    if (size > int64_t(kMaxFileBytes)) {
        std::fclose(f);
        cause = std::to_string(size) + " bytes, more than the " + std::to_string(kMaxFileBytes) +
                " a registry file may have";
        return ReadResult::TooLarge;
    }
    std::string bytes;
    char buf[65536];
    size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, f)) > 0) {
        bytes.append(buf, n);
        if (bytes.size() > kMaxFileBytes) {
            std::fclose(f);
            cause = "more than " + std::to_string(kMaxFileBytes) + " bytes";
            return ReadResult::TooLarge;
        }
    }
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) {
        cause = "read error";
        return ReadResult::Unreadable;
    }
    return decodeLines(bytes, lines, cause);
}

bool readForImport(const OdString& path, std::vector<std::wstring>& lines, bool report, const char* source,
                   const char* function, const wchar_t* notFound) {
    lines.clear();
    if (path.isEmpty()) {
        if (report)
            logError(source, function, L"Bad arguments");
        return false;
    }
    std::string cause;
    switch (readLines(path, lines, cause)) {
    case ReadResult::Ok:
        return true;
    case ReadResult::NotFound:
        if (report)
            logError(source, function, notFound, path.c_str());
        return false;
    default:
        if (report)
            logError(source, function, L"%ls: %ls", path.c_str(), platform::utf8ToWide(cause).c_str());
        return false;
    }
}

WriteResult writeLines(const OdString& path, const std::vector<std::wstring>& lines) {
    platform::AtomicFileWriter out(path);
    if (!out.file())
        return WriteResult::CannotCreate;
    std::wstring text;
    size_t total = 0;
    for (const auto& l : lines)
        total += l.size() + 1;
    text.reserve(total);
    for (const auto& l : lines) {
        text += l;
        text += L'\n';
    }
    const std::string bytes = platform::wideToUtf8(text);
    if (std::fwrite(bytes.data(), 1, bytes.size(), out.file()) != bytes.size() || !out.commit())
        return WriteResult::CannotWrite;
    return WriteResult::Ok;
}

std::wstring escape(const std::wstring& text) {
    std::wstring s = text;
    replaceAll(s, L"\\", L"\\\\");
    replaceAll(s, L"\"", L"\\\"");
    replaceAll(s, L"\n", L"\r\n");
    return s;
}

std::wstring unescape(const std::wstring& text) {
    std::wstring s = text;
    replaceAll(s, L"\r\n", L"\n");
    replaceAll(s, L"\\\"", L"\"");
    replaceAll(s, L"\\\\", L"\\");
    return s;
}

std::wstring quotedName(const std::wstring& name) { return name.empty() ? std::wstring(L"@") : L"\"" + name + L"\""; }

void addStringLine(std::vector<std::wstring>& lines, const std::wstring& name, const std::wstring& text) {
    lines.push_back(quotedName(name) + L"=\"" + escape(text) + L"\"");
}

void addDwordLine(std::vector<std::wstring>& lines, const std::wstring& name, uint32_t value) {
    wchar_t digits[16];
    std::swprintf(digits, 16, L"%.8x", value);
    lines.push_back(quotedName(name) + L"=dword:" + digits);
}

void addBinaryLines(std::vector<std::wstring>& lines, const std::wstring& name, const std::string& bytes,
                    const wchar_t* typePrefix) {
    static const wchar_t hex[] = L"0123456789abcdef";
    std::wstring line = quotedName(name) + L"=" + typePrefix + L":";
    for (size_t i = 0; i < bytes.size(); ++i) {
        const unsigned char b = static_cast<unsigned char>(bytes[i]);
        line += hex[b >> 4];
        line += hex[b & 15];
        if (i + 1 < bytes.size()) {
            line += L',';
            if (line.size() > 76) {
                line += L'\\';
                lines.push_back(std::move(line));
                line = L"  ";
            }
        }
    }
    lines.push_back(std::move(line));
}

void addQwordLines(std::vector<std::wstring>& lines, const std::wstring& name, int64_t value) {
    std::string bytes;
    for (int i = 0; i < 8; ++i)
        bytes += char((uint64_t(value) >> (8 * i)) & 0xFF);
    addBinaryLines(lines, name, bytes, L"hex(b)");
}

bool qwordFromBytes(const std::string& bytes, int64_t& value) {
    if (bytes.size() != 8)
        return false;
    uint64_t v = 0;
    for (int i = 0; i < 8; ++i)
        v |= uint64_t(static_cast<unsigned char>(bytes[size_t(i)])) << (8 * i);
    value = int64_t(v);
    return true;
}

void addPlainValueLines(std::vector<std::wstring>& lines, const std::wstring& name, const platform::RegValue& value,
                        const wchar_t* unknownFormat) {
    switch (value.type) {
    case platform::kRegDword:
        addDwordLine(lines, name, uint32_t(value.number));
        break;
    case platform::kRegBinary:
        addBinaryLines(lines, name, value.bytes);
        break;
    default: {
        wchar_t text[64];
        std::swprintf(text, sizeof text / sizeof text[0], unknownFormat, int(value.type));
        addStringLine(lines, name, text);
        break;
    }
    }
}

namespace {

// Control characters and lone surrogates as escapes, so that a message shows
// the name on one line.
std::wstring printable(const std::wstring& text) {
    std::wstring out;
    for (wchar_t c : text) {
        if (c == L'\n') {
            out += L"\\n";
        } else if (c == L'\r') {
            out += L"\\r";
        } else if (uint32_t(c) < 0x20 || (c >= 0xD800 && c <= 0xDFFF)) {
            wchar_t esc[12];
            std::swprintf(esc, 12, c >= 0xDC80 && c <= 0xDCFF ? L"\\x%02x" : L"\\u%04x",
                          c >= 0xDC80 && c <= 0xDCFF ? unsigned(c - 0xDC00) : unsigned(c));
            out += esc;
        } else {
            out += c;
        }
    }
    return out;
}

// A text's line feeds are carried (as line breaks of the file), a carriage
// return is not: it would end a line of its own.
const wchar_t* uncarried(const std::wstring& text, const wchar_t* also, bool isText = false) {
    for (wchar_t c : text) {
        if ((c == L'\n' && !isText) || c == L'\r')
            return isText ? L"a carriage return" : L"a line break";
        if (c == L'\0')
            return L"a NUL character";
        if (c >= 0xDC80 && c <= 0xDCFF)
            return L"a byte that is not UTF-8";
        if (c >= 0xD800 && c <= 0xDFFF)
            return L"a lone surrogate";
        if (also && std::wcschr(also, c))
            return c == L'/' ? L"a \"/\"" : L"a \"=\"";
    }
    return nullptr;
}

} // namespace

bool carriesKey(const std::wstring& keyPath, const std::wstring& name, std::wstring& problem) {
    if (const wchar_t* why = uncarried(name, L"/")) {
        problem = L"the key [" + printable(keyPath) + L"] cannot be written to a registry file: its name holds " + why;
        return false;
    }
    return true;
}

bool carriesValue(const std::wstring& keyPath, const std::wstring& name, const std::wstring* text,
                  std::wstring& problem) {
    const wchar_t* why = uncarried(name, L"=");
    const bool inName = why != nullptr;
    if (!why && text)
        why = uncarried(*text, nullptr, true);
    if (!why)
        return true;
    problem = L"the value \"" + printable(name) + L"\" of [" + printable(keyPath) +
              L"] cannot be written to a registry file: its " + (inName ? L"name" : L"text") + L" holds " + why;
    return false;
}

ParseReport parse(const std::vector<std::wstring>& lines, Sink& sink) {
    enum State { kNoKey, kInKey, kInHex, kInString };
    ParseReport report;
    State state = kNoKey;
    std::wstring name, text;
    std::string bytes;
    uint32_t hexType = 0;
    bool typed = false, bad = false;
    std::string badReason;
    size_t valueLine = 0;

    auto skip = [&](size_t lineNo, const std::string& reason) {
        if (report.skipped++ == 0) {
            report.firstSkipped = lineNo;
            report.firstReason = reason;
        }
    };
    auto deliverHex = [&] {
        if (bad)
            skip(valueLine, badReason);
        else if (typed)
            sink.typedValue(name, hexType, bytes);
        else
            sink.binaryValue(name, bytes);
    };
    auto addHex = [&](std::wstring_view piece) {
        if (bad)
            return;
        if (!appendHexBytes(piece, bytes)) {
            bad = true;
            badReason = "a hex value with a piece that is not a byte";
        } else if (bytes.size() > kMaxValueSize) {
            bad = true;
            badReason = "a hex value of more than " + std::to_string(kMaxValueSize) + " bytes";
            bytes.clear();
        }
    };

    for (size_t i = 0; i < lines.size(); ++i) {
        const std::wstring& line = lines[i];
        const size_t lineNo = i + 1;
        if (state == kInString) {
            if (!bad) {
                text += L'\n';
                text += line;
                if (text.size() > kMaxValueSize) {
                    bad = true;
                    badReason = "a string of more than " + std::to_string(kMaxValueSize) + " characters";
                    text.clear();
                }
            }
            // Only this line decides: a backslash never escapes the line break.
            const std::wstring tail = L"\n" + trim(line);
            if (endsWithClosingQuote(tail)) {
                if (bad) {
                    skip(valueLine, badReason);
                } else {
                    while (text.back() != L'"')
                        text.pop_back();
                    sink.stringValue(name, unescape(text.substr(1, text.size() - 2)));
                }
                state = kInKey;
            }
            continue;
        }
        if (state == kInHex) {
            std::wstring t = trim(line);
            const bool more = !t.empty() && t.back() == L'\\';
            if (more)
                t.pop_back();
            addHex(t);
            if (!more) {
                deliverHex();
                state = kInKey;
            }
            continue;
        }
        switch (sink.keyLine(line)) {
        case Sink::kEnter:
            state = kInKey;
            continue;
        case Sink::kLeave:
            state = kNoKey;
            continue;
        case Sink::kKeep:
            continue;
        case Sink::kNotKey:
            break;
        }
        if (state != kInKey)
            continue;
        const size_t eq = line.find(L'=');
        if (eq == std::wstring::npos) {
            // Blank lines, comments and the header are part of the format;
            // anything else is a line the user should hear of.
            const std::wstring t = trim(line);
            if (!t.empty() && t[0] != L';' && t != kHeader && t != L"REGEDIT4")
                skip(lineNo, t[0] == L'[' ? "a key line outside the keys this import takes"
                                          : "a line that is neither a key nor a value");
            continue;
        }
        name = line.substr(0, eq);
        if (name == L"@")
            name.clear();
        else if (name.size() >= 2 && name.front() == L'"' && name.back() == L'"')
            name = name.substr(1, name.size() - 2);
        const std::wstring data = line.substr(eq + 1);
        valueLine = lineNo;
        bad = false;
        badReason.clear();
        if (startsWith(data, L"dword:")) {
            uint64_t v = 0;
            if (parseHexNumber(trim(std::wstring_view(data).substr(6)), 8, v))
                sink.dwordValue(name, uint32_t(v));
            else
                skip(lineNo, "a dword that is not 1 to 8 hexadecimal digits");
        } else if (startsWith(data, L"hex:") || startsWith(data, L"hex(")) {
            typed = data[3] == L'(';
            size_t colon = data.find(L':');
            hexType = 0;
            uint64_t type = 0;
            if (typed) {
                const size_t close = data.find(L')');
                if (close == std::wstring::npos || colon != close + 1 ||
                    !parseHexNumber(std::wstring_view(data).substr(4, close - 4), 8, type)) {
                    skip(lineNo, "a hex(...) value of no known form");
                    continue;
                }
                hexType = uint32_t(type);
            }
            std::wstring rest = trim(std::wstring_view(data).substr(colon + 1));
            const bool more = !rest.empty() && rest.back() == L'\\';
            if (more)
                rest.pop_back();
            bytes.clear();
            addHex(rest);
            if (more) {
                state = kInHex;
            } else {
                deliverHex();
            }
        } else if (!data.empty() && data[0] == L'"') {
            const std::wstring trimmed = trim(data);
            if (endsWithClosingQuote(trimmed)) {
                sink.stringValue(name, unescape(trimmed.substr(1, trimmed.size() - 2)));
            } else {
                text = data;
                state = kInString;
            }
        } else {
            skip(lineNo, "a value of no known kind");
        }
    }
    if (state == kInString || state == kInHex) {
        report.unterminated = true;
        skip(valueLine, state == kInString ? "a string that is never closed" : "a hex value that breaks off");
    }
    return report;
}

void logSkipped(const ParseReport& report, const OdString& fileName, const char* source, const char* function) {
    if (report.skipped > 0)
        logWarning(source, function,
                   report.skipped == 1 ? L"%ls: %d line skipped, at line %d (%ls)"
                                       : L"%ls: %d lines skipped, the first at line %d (%ls)",
                   fileName.c_str(), int(report.skipped), int(report.firstSkipped),
                   platform::utf8ToWide(report.firstReason).c_str());
}

} // namespace ut::regfile
