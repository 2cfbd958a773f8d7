#include "ut_msgformat.h"

#include <cstddef>
#include <cstdint>
#include <cwchar>
#include <iterator>
#include <optional>

#include "platform/codepage.h"

namespace ut::msgformat {

namespace {

// Translations are outside input: bound what one conversion may ask for, so that
// "%999999999d" cannot make us allocate gigabytes.
constexpr int kMaxWidth = 4096;
// More positions than any message has; keeps a "%9999$d" from sizing a vector.
constexpr int kMaxPosition = 64;

static_assert(sizeof(long) == sizeof(std::size_t) && sizeof(long) == sizeof(std::ptrdiff_t) &&
                  sizeof(long) == sizeof(std::intmax_t),
              "z, t and j conversions are read as long");
static_assert(sizeof(wint_t) == sizeof(int), "%lc is read as int");

struct Conversion {
    std::size_t begin = 0, end = 0; // the conversion's characters in the text
    int position = 0;               // argument index, 0-based
    ArgKind kind = ArgKind::Int;
    wchar_t conversion = 0;         // the final letter
    bool wideChar = false;          // %lc
    bool leftAlign = false;
    int width = -1, precision = -1;
    std::wstring printfForm;        // the conversion without its "n$" position, for swprintf
};

struct Parsed {
    bool valid = false;
    std::vector<Conversion> conversions;
    std::vector<ArgKind> kinds;
};

bool readNumber(std::wstring_view text, std::size_t& i, int& value) {
    if (i >= text.size() || text[i] < L'0' || text[i] > L'9')
        return false;
    long long v = 0;
    while (i < text.size() && text[i] >= L'0' && text[i] <= L'9') {
        v = v * 10 + (text[i] - L'0');
        if (v > kMaxWidth * 16LL)
            v = kMaxWidth * 16LL; // keep counting digits, the value is refused later
        ++i;
    }
    value = int(v);
    return true;
}

// Parses one conversion starting at text[i] == '%'. Leaves i after it.
bool parseConversion(std::wstring_view text, std::size_t& i, Conversion& c, bool& positional) {
    c.begin = i++;
    positional = false;
    // "n$" position: digits followed by '$'. Digits not followed by '$' are a width.
    std::size_t save = i;
    int number = 0;
    if (readNumber(text, i, number) && i < text.size() && text[i] == L'$') {
        if (number < 1 || number > kMaxPosition)
            return false;
        c.position = number - 1;
        positional = true;
        ++i;
    } else {
        i = save;
    }
    std::wstring form = L"%";
    for (; i < text.size(); ++i) {
        wchar_t f = text[i];
        if (f == L'-')
            c.leftAlign = true;
        else if (f != L'+' && f != L' ' && f != L'#' && f != L'0' && f != L'\'')
            break;
        form += f;
    }
    if (i < text.size() && text[i] == L'*')
        return false;
    std::size_t widthStart = i;
    if (readNumber(text, i, c.width)) {
        if (c.width > kMaxWidth)
            return false;
        form.append(text.substr(widthStart, i - widthStart));
    }
    if (i < text.size() && text[i] == L'.') {
        ++i;
        if (i < text.size() && text[i] == L'*')
            return false;
        std::size_t precisionStart = i;
        c.precision = 0; // "." alone means precision 0
        readNumber(text, i, c.precision);
        if (c.precision > kMaxWidth)
            return false;
        form += L'.';
        form.append(text.substr(precisionStart, i - precisionStart));
    }
    // Length modifier.
    enum { None, Short, Long, LongLong, LongDouble } length = None;
    std::size_t lengthStart = i;
    if (i < text.size()) {
        switch (text[i]) {
        case L'h':
            ++i;
            if (i < text.size() && text[i] == L'h')
                ++i;
            length = Short;
            break;
        case L'l':
            ++i;
            length = Long;
            if (i < text.size() && text[i] == L'l') {
                ++i;
                length = LongLong;
            }
            break;
        case L'q':
            ++i;
            length = LongLong;
            break;
        case L'z':
        case L't':
        case L'j':
            ++i;
            length = Long;
            break;
        case L'L':
            ++i;
            length = LongDouble;
            break;
        default:
            break;
        }
    }
    std::wstring_view lengthText = text.substr(lengthStart, i - lengthStart);
    if (i >= text.size())
        return false;
    c.conversion = text[i++];
    c.end = i;
    switch (c.conversion) {
    case L'd':
    case L'i':
    case L'u':
    case L'o':
    case L'x':
    case L'X':
        if (length == LongDouble)
            return false;
        c.kind = length == Long ? ArgKind::Long : length == LongLong ? ArgKind::LongLong : ArgKind::Int;
        break;
    case L'c':
        if (length != None && length != Long)
            return false;
        c.kind = ArgKind::Int;
        c.wideChar = length == Long;
        break;
    case L'f':
    case L'F':
    case L'e':
    case L'E':
    case L'g':
    case L'G':
    case L'a':
    case L'A':
        if (length == Short || length == LongLong)
            return false;
        if (length == Long && lengthText != L"l")
            return false; // %zf, %jf mean nothing
        c.kind = length == LongDouble ? ArgKind::LongDouble : ArgKind::Double;
        break;
    case L's':
        if (length != None && !(length == Long && lengthText == L"l"))
            return false;
        c.kind = length == Long ? ArgKind::WideText : ArgKind::NarrowText;
        break;
    case L'p':
        if (length != None)
            return false;
        c.kind = ArgKind::Pointer;
        break;
    default:
        // %n would write through an argument; %S and %C mean narrow on one C library
        // and wide on another; %m is glibc's own. None of them belongs in a message.
        return false;
    }
    form.append(lengthText);
    form += c.conversion;
    c.printfForm = std::move(form);
    return true;
}

Parsed parse(std::wstring_view text) {
    Parsed p;
    std::vector<std::optional<ArgKind>> byPosition;
    int plain = 0, numbered = 0;
    for (std::size_t i = 0; i < text.size();) {
        if (text[i] != L'%') {
            ++i;
            continue;
        }
        if (i + 1 < text.size() && text[i + 1] == L'%') {
            i += 2;
            continue;
        }
        Conversion c;
        bool positional = false;
        if (!parseConversion(text, i, c, positional))
            return p;
        if (positional) {
            ++numbered;
        } else {
            c.position = plain++;
            if (c.position >= kMaxPosition)
                return p;
        }
        if (byPosition.size() <= std::size_t(c.position))
            byPosition.resize(std::size_t(c.position) + 1);
        auto& slot = byPosition[std::size_t(c.position)];
        if (slot && *slot != c.kind)
            return p;
        slot = c.kind;
        p.conversions.push_back(std::move(c));
    }
    if (plain && numbered)
        return p;
    for (const auto& slot : byPosition) {
        // A skipped position: its type is unknown, so the arguments after it cannot be found.
        if (!slot)
            return p;
        p.kinds.push_back(*slot);
    }
    p.valid = true;
    return p;
}

std::wstring narrowToWide(std::string_view bytes) {
    // The SDK's narrow texts are UTF-8 on this platform, but a name read from an old
    // drawing may still be in the ANSI code page.
    if (platform::isValidUtf8(bytes))
        return platform::utf8ToWide(bytes);
    return platform::codePageToWide(bytes, platform::ansiCodePage());
}

void appendPadded(std::wstring& out, std::wstring_view piece, const Conversion& c) {
    if (c.precision >= 0 && piece.size() > std::size_t(c.precision))
        piece = piece.substr(0, std::size_t(c.precision));
    std::size_t pad = c.width > 0 && std::size_t(c.width) > piece.size() ? std::size_t(c.width) - piece.size() : 0;
    if (!c.leftAlign)
        out.append(pad, L' ');
    out.append(piece);
    if (c.leftAlign)
        out.append(pad, L' ');
}

template <typename T>
bool appendNumber(std::wstring& out, const std::wstring& form, T value) {
    // Nearly every number fits the small buffer; the large one has room for the
    // widest output the bounds allow (width and precision at most kMaxWidth, and
    // up to 4933 integer digits of a long double in %Lf).
    wchar_t small[128];
    int n = std::swprintf(small, std::size(small), form.c_str(), value);
    if (n >= 0) {
        out.append(small, std::size_t(n));
        return true;
    }
    std::vector<wchar_t> large(std::size_t(2 * kMaxWidth) + 5000);
    n = std::swprintf(large.data(), large.size(), form.c_str(), value);
    if (n < 0)
        return false;
    out.append(large.data(), std::size_t(n));
    return true;
}

bool isUnsigned(wchar_t conversion) {
    return conversion == L'u' || conversion == L'o' || conversion == L'x' || conversion == L'X';
}

void appendConversion(std::wstring& out, std::wstring_view text, const Conversion& c, const Arg& a) {
    bool ok = true;
    switch (c.kind) {
    case ArgKind::Int:
        if (c.conversion == L'c') {
            if (c.wideChar) {
                wchar_t ch = wchar_t(a.integer);
                appendPadded(out, std::wstring_view(&ch, 1), c);
            } else {
                char byte = char(a.integer);
                appendPadded(out, narrowToWide(std::string_view(&byte, 1)), c);
            }
        } else if (isUnsigned(c.conversion)) {
            ok = appendNumber(out, c.printfForm, unsigned(a.integer));
        } else {
            ok = appendNumber(out, c.printfForm, int(a.integer));
        }
        break;
    case ArgKind::Long:
        if (isUnsigned(c.conversion))
            ok = appendNumber(out, c.printfForm, static_cast<unsigned long>(a.integer));
        else
            ok = appendNumber(out, c.printfForm, long(a.integer));
        break;
    case ArgKind::LongLong:
        if (isUnsigned(c.conversion))
            ok = appendNumber(out, c.printfForm, static_cast<unsigned long long>(a.integer));
        else
            ok = appendNumber(out, c.printfForm, a.integer);
        break;
    case ArgKind::Double:
        ok = appendNumber(out, c.printfForm, a.real);
        break;
    case ArgKind::LongDouble:
        ok = appendNumber(out, c.printfForm, a.longReal);
        break;
    case ArgKind::Pointer:
        ok = appendNumber(out, c.printfForm, a.pointer);
        break;
    case ArgKind::NarrowText:
        appendPadded(out, a.narrow ? narrowToWide(a.narrow) : std::wstring(L"(null)"), c);
        break;
    case ArgKind::WideText:
        appendPadded(out, a.wide ? std::wstring_view(a.wide) : std::wstring_view(L"(null)"), c);
        break;
    }
    if (!ok)
        out.append(text.substr(c.begin, c.end - c.begin));
}

} // namespace

const char* kindName(ArgKind kind) {
    switch (kind) {
    case ArgKind::Int:
        return "integer";
    case ArgKind::Long:
        return "long integer";
    case ArgKind::LongLong:
        return "long long integer";
    case ArgKind::Double:
        return "real";
    case ArgKind::LongDouble:
        return "long double real";
    case ArgKind::NarrowText:
        return "narrow text";
    case ArgKind::WideText:
        return "text";
    case ArgKind::Pointer:
        return "pointer";
    }
    return "?";
}

Arg Arg::ofInt(long long v, ArgKind k) {
    Arg a;
    a.kind = k;
    a.integer = v;
    return a;
}

Arg Arg::ofDouble(double v) {
    Arg a;
    a.kind = ArgKind::Double;
    a.real = v;
    return a;
}

Arg Arg::ofLongDouble(long double v) {
    Arg a;
    a.kind = ArgKind::LongDouble;
    a.longReal = v;
    return a;
}

Arg Arg::ofNarrow(const char* s) {
    Arg a;
    a.kind = ArgKind::NarrowText;
    a.narrow = s;
    return a;
}

Arg Arg::ofWide(const wchar_t* s) {
    Arg a;
    a.kind = ArgKind::WideText;
    a.wide = s;
    return a;
}

Arg Arg::ofPointer(const void* p) {
    Arg a;
    a.kind = ArgKind::Pointer;
    a.pointer = p;
    return a;
}

bool argumentKinds(std::wstring_view text, std::vector<ArgKind>& kinds) {
    Parsed p = parse(text);
    kinds = std::move(p.kinds);
    return p.valid;
}

std::vector<Arg> readArguments(const std::vector<ArgKind>& kinds, va_list* list) {
    std::vector<Arg> args;
    if (!list)
        return args;
    va_list copy;
    va_copy(copy, *list);
    for (ArgKind k : kinds) {
        switch (k) {
        case ArgKind::Int:
            args.push_back(Arg::ofInt(va_arg(copy, int), k));
            break;
        case ArgKind::Long:
            args.push_back(Arg::ofInt(va_arg(copy, long), k));
            break;
        case ArgKind::LongLong:
            args.push_back(Arg::ofInt(va_arg(copy, long long), k));
            break;
        case ArgKind::Double:
            args.push_back(Arg::ofDouble(va_arg(copy, double)));
            break;
        case ArgKind::LongDouble:
            args.push_back(Arg::ofLongDouble(va_arg(copy, long double)));
            break;
        case ArgKind::NarrowText:
            args.push_back(Arg::ofNarrow(va_arg(copy, const char*)));
            break;
        case ArgKind::WideText:
            args.push_back(Arg::ofWide(va_arg(copy, const wchar_t*)));
            break;
        case ArgKind::Pointer:
            args.push_back(Arg::ofPointer(va_arg(copy, const void*)));
            break;
        }
    }
    va_end(copy);
    return args;
}

namespace {

std::wstring render(std::wstring_view text, const Parsed& p, const std::vector<Arg>& args) {
    std::wstring out;
    out.reserve(text.size() + 16);
    std::size_t at = 0;
    std::size_t next = 0; // index into p.conversions
    while (at < text.size()) {
        if (next < p.conversions.size() && p.conversions[next].begin == at) {
            const Conversion& c = p.conversions[next++];
            appendConversion(out, text, c, args[std::size_t(c.position)]);
            at = c.end;
        } else if (text[at] == L'%' && at + 1 < text.size() && text[at + 1] == L'%') {
            out += L'%';
            at += 2;
        } else {
            out += text[at++];
        }
    }
    return out;
}

} // namespace

std::wstring format(std::wstring_view text, const std::vector<Arg>& args) {
    Parsed p = parse(text);
    if (!p.valid || args.size() < p.kinds.size())
        return std::wstring(text);
    for (std::size_t i = 0; i < p.kinds.size(); ++i)
        if (args[i].kind != p.kinds[i])
            return std::wstring(text);
    return render(text, p, args);
}

std::wstring formatList(std::wstring_view text, va_list* list) {
    if (!list)
        return std::wstring(text);
    Parsed p = parse(text);
    if (!p.valid)
        return std::wstring(text);
    return render(text, p, readArguments(p.kinds, list));
}

} // namespace ut::msgformat
