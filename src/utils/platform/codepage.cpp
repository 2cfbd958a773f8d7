#include "platform/codepage.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iconv.h>
#include <locale.h>
#include <string>
#include <wchar.h>

namespace ut::platform {

namespace {

struct LanguageCodePage {
    const char* language; // ISO 639 code, matched against the locale's prefix
    int codePage;
};

// Windows' choice of ANSI code page by language.
constexpr LanguageCodePage kLanguages[] = {
    {"cs", 1250}, {"hu", 1250}, {"pl", 1250}, {"ro", 1250}, {"sk", 1250}, {"sl", 1250},
    {"hr", 1250}, {"bs", 1250}, {"sq", 1250},
    {"ru", 1251}, {"uk", 1251}, {"be", 1251}, {"bg", 1251}, {"mk", 1251}, {"sr", 1251},
    {"kk", 1251}, {"ky", 1251}, {"mn", 1251}, {"tt", 1251},
    {"el", 1253}, {"tr", 1254}, {"az", 1254}, {"uz", 1254}, {"he", 1255}, {"yi", 1255},
    {"ar", 1256}, {"fa", 1256}, {"ur", 1256},
    {"et", 1257}, {"lv", 1257}, {"lt", 1257}, {"vi", 1258}, {"th", 874},
    {"ja", 932}, {"ko", 949},
};

std::string localeFromEnvironment() {
    for (const char* var : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const char* v = std::getenv(var);
        if (v && *v)
            return v;
    }
    return "C";
}

// iconv with a fallback character: the library never fails a conversion, it
// substitutes, as the Windows conversion functions do by default.
std::string convert(std::string_view in, const char* from, const char* to, std::string_view fallback,
                    size_t unitSize) {
    std::string out;
    iconv_t cd = iconv_open(to, from);
    if (cd == (iconv_t)-1)
        return out;
    out.reserve(in.size());
    char* src = const_cast<char*>(in.data());
    size_t srcLeft = in.size();
    char buf[4096];
    while (srcLeft > 0) {
        char* dst = buf;
        size_t dstLeft = sizeof buf;
        size_t r = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        out.append(buf, size_t(dst - buf));
        if (r == (size_t)-1) {
            if (errno == E2BIG)
                continue;
            // EILSEQ or EINVAL: substitute one unit and go on after it.
            out.append(fallback);
            size_t skip = std::min(unitSize, srcLeft);
            src += skip;
            srcLeft -= skip;
        }
    }
    char* dst = buf;
    size_t dstLeft = sizeof buf;
    iconv(cd, nullptr, nullptr, &dst, &dstLeft);
    out.append(buf, size_t(dst - buf));
    iconv_close(cd);
    return out;
}

const char* kWideCharset = sizeof(wchar_t) == 4 ? "WCHAR_T" : "UTF-16LE";

std::wstring bytesToWide(const std::string& bytes) {
    std::wstring w(bytes.size() / sizeof(wchar_t), L'\0');
    if (!w.empty())
        std::memcpy(w.data(), bytes.data(), w.size() * sizeof(wchar_t));
    return w;
}

} // namespace

int codePageForLocale(std::string_view locale) {
    if (locale.empty() || locale == "C" || locale == "POSIX" || locale.substr(0, 2) == "C.")
        return 1252;
    std::string lang(locale.substr(0, locale.find_first_of("_.@")));
    std::string territory;
    size_t us = locale.find('_');
    if (us != std::string_view::npos)
        territory = std::string(locale.substr(us + 1, 2));
    if (lang == "zh")
        return (territory == "TW" || territory == "HK" || territory == "MO") ? 950 : 936;
    if (lang == "sr" && locale.find("latin") != std::string_view::npos)
        return 1250;
    for (const auto& e : kLanguages)
        if (lang == e.language)
            return e.codePage;
    return 1252;
}

int ansiCodePage() {
    if (const char* v = std::getenv("DRUTILS_ANSI_CODEPAGE")) {
        char* end = nullptr;
        long cp = std::strtol(v, &end, 10);
        if (end != v && *end == '\0' && cp > 0 && cp < 100000 && !iconvName(int(cp)).empty())
            return int(cp);
    }
    return codePageForLocale(localeFromEnvironment());
}

std::string iconvName(int codePage) {
    switch (codePage) {
    case kCodePageUtf8:
        return "UTF-8";
    case 874:
        return "CP874";
    case 932:
        return "CP932";
    case 936:
        return "CP936";
    case 949:
        return "CP949";
    case 950:
        return "CP950";
    case 20127:
        return "ASCII";
    case 28591:
        return "ISO-8859-1";
    default:
        if (codePage >= 1250 && codePage <= 1258)
            return "CP" + std::to_string(codePage);
        return std::string();
    }
}

std::string wideToCodePage(std::wstring_view text, int codePage) {
    std::string name = iconvName(codePage);
    if (name.empty())
        name = "CP1252";
    std::string_view raw(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t));
    return convert(raw, kWideCharset, name.c_str(), "?", sizeof(wchar_t));
}

std::wstring codePageToWide(std::string_view bytes, int codePage) {
    std::string name = iconvName(codePage);
    if (name.empty())
        name = "CP1252";
    const wchar_t repl = 0xFFFD;
    std::string_view fallback(reinterpret_cast<const char*>(&repl), sizeof repl);
    return bytesToWide(convert(bytes, name.c_str(), kWideCharset, fallback, 1));
}

bool encodeExactly(std::wstring_view text, int codePage, std::string& out, size_t* badAt) {
    out.clear();
    std::string name = iconvName(codePage);
    if (name.empty())
        name = "CP1252";
    iconv_t cd = iconv_open(name.c_str(), kWideCharset);
    if (cd == (iconv_t)-1)
        return false;
    out.reserve(text.size());
    char* src = reinterpret_cast<char*>(const_cast<wchar_t*>(text.data()));
    size_t srcLeft = text.size() * sizeof(wchar_t);
    char buf[4096];
    bool ok = true;
    while (srcLeft > 0) {
        char* dst = buf;
        size_t dstLeft = sizeof buf;
        const size_t r = iconv(cd, &src, &srcLeft, &dst, &dstLeft);
        out.append(buf, size_t(dst - buf));
        if (r == size_t(-1) && errno != E2BIG) {
            if (badAt)
                *badAt = (text.size() * sizeof(wchar_t) - srcLeft) / sizeof(wchar_t);
            ok = false;
            break;
        }
    }
    if (ok) {
        char* dst = buf;
        size_t dstLeft = sizeof buf;
        iconv(cd, nullptr, nullptr, &dst, &dstLeft);
        out.append(buf, size_t(dst - buf));
    }
    iconv_close(cd);
    return ok;
}

std::string wideToUtf8(std::wstring_view text) { return wideToCodePage(text, kCodePageUtf8); }

std::wstring utf8ToWide(std::string_view bytes) { return codePageToWide(bytes, kCodePageUtf8); }

bool isValidUtf8(std::string_view s) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    char32_t cp = 0;
    for (size_t i = 0, len = 0; i < s.size(); i += len)
        if ((len = utf8Sequence(p + i, s.size() - i, cp)) == 0)
            return false;
    return true;
}

void appendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += char(c);
    } else if (c < 0x800) {
        out += char(0xC0 | (c >> 6));
        out += char(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += char(0xE0 | (c >> 12));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    } else {
        out += char(0xF0 | (c >> 18));
        out += char(0x80 | ((c >> 12) & 0x3F));
        out += char(0x80 | ((c >> 6) & 0x3F));
        out += char(0x80 | (c & 0x3F));
    }
}

size_t utf8Sequence(const unsigned char* s, size_t n, char32_t& cp, bool surrogates) {
    const unsigned c = s[0];
    size_t len;
    unsigned min;
    if (c < 0x80) {
        cp = c;
        return 1;
    } else if ((c & 0xE0) == 0xC0) {
        len = 2, min = 0x80, cp = c & 0x1F;
    } else if ((c & 0xF0) == 0xE0) {
        len = 3, min = 0x800, cp = c & 0x0F;
    } else if ((c & 0xF8) == 0xF0) {
        len = 4, min = 0x10000, cp = c & 0x07;
    } else {
        return 0;
    }
    if (len > n)
        return 0;
    for (size_t k = 1; k < len; ++k) {
        if ((s[k] & 0xC0) != 0x80)
            return 0;
        cp = (cp << 6) | (s[k] & 0x3F);
    }
    // An overlong form would give a second spelling of one character (a
    // backslash, a "/"), which no reader of names may accept.
    if (cp < min || cp > 0x10FFFF || (!surrogates && cp >= 0xD800 && cp <= 0xDFFF))
        return 0;
    return len;
}

std::u16string wideToUtf16(std::wstring_view text, bool keepLoneSurrogates) {
    std::u16string units;
    units.reserve(text.size());
    for (wchar_t wc : text) {
        const char32_t c = char32_t(wc);
        if (c >= 0x10000 && c <= 0x10FFFF) {
            units += char16_t(0xD800 + ((c - 0x10000) >> 10));
            units += char16_t(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            const bool lone = c >= 0xD800 && c <= 0xDFFF;
            units += c > 0x10FFFF || (lone && !keepLoneSurrogates) ? u'\uFFFD' : char16_t(c);
        }
    }
    return units;
}

std::wstring utf16ToWide(std::u16string_view units, bool keepLoneSurrogates) {
    std::wstring out;
    out.reserve(units.size());
    for (size_t i = 0; i < units.size(); ++i) {
        const char32_t u = units[i];
        if (u >= 0xD800 && u <= 0xDBFF && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF) {
            out += wchar_t(0x10000 + ((u - 0xD800) << 10) + (char32_t(units[++i]) - 0xDC00));
            continue;
        }
        const bool lone = u >= 0xD800 && u <= 0xDFFF;
        out += lone && !keepLoneSurrogates ? wchar_t(0xFFFD) : wchar_t(u);
    }
    return out;
}

std::u16string utf16Units(std::string_view bytes, bool bigEndian) {
    std::u16string units(bytes.size() / 2, u'\0');
    for (size_t i = 0; i < units.size(); ++i) {
        const unsigned a = static_cast<unsigned char>(bytes[2 * i]), b = static_cast<unsigned char>(bytes[2 * i + 1]);
        units[i] = char16_t(bigEndian ? (a << 8 | b) : (b << 8 | a));
    }
    return units;
}

namespace {

std::wstring utf32ToWide(std::string_view bytes, bool bigEndian, bool keepLoneSurrogates) {
    std::wstring out;
    for (size_t i = 0; i + 3 < bytes.size(); i += 4) {
        uint32_t c = 0;
        for (size_t k = 0; k < 4; ++k)
            c |= uint32_t(static_cast<unsigned char>(bytes[i + k])) << (8 * (bigEndian ? 3 - k : k));
        const bool lone = c >= 0xD800 && c <= 0xDFFF;
        out += c > 0x10FFFF || (lone && !keepLoneSurrogates) ? wchar_t(0xFFFD) : wchar_t(c);
    }
    return out;
}

} // namespace

std::wstring decodeTextFile(std::string_view bytes, bool keepLoneSurrogates) {
    // UTF-32LE first: its mark begins with UTF-16LE's.
    if (bytes.starts_with("\xEF\xBB\xBF"))
        return utf8ToWide(bytes.substr(3));
    if (bytes.starts_with(std::string_view("\xFF\xFE\0\0", 4)))
        return utf32ToWide(bytes.substr(4), false, keepLoneSurrogates);
    if (bytes.starts_with(std::string_view("\0\0\xFE\xFF", 4)))
        return utf32ToWide(bytes.substr(4), true, keepLoneSurrogates);
    if (bytes.starts_with("\xFF\xFE"))
        return utf16ToWide(utf16Units(bytes.substr(2), false), keepLoneSurrogates);
    if (bytes.starts_with("\xFE\xFF"))
        return utf16ToWide(utf16Units(bytes.substr(2), true), keepLoneSurrogates);
    if (isValidUtf8(bytes))
        return utf8ToWide(bytes);
    return codePageToWide(bytes, ansiCodePage());
}

std::vector<std::wstring> splitLines(std::wstring_view text) {
    std::vector<std::wstring> lines;
    size_t start = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != L'\r' && text[i] != L'\n')
            continue;
        lines.emplace_back(text.substr(start, i - start));
        if (text[i] == L'\r' && i + 1 < text.size() && text[i + 1] == L'\n')
            ++i;
        start = i + 1;
    }
    if (start < text.size())
        lines.emplace_back(text.substr(start));
    return lines;
}

size_t displayWidth(std::wstring_view text) {
    // wcwidth answers for the thread's character-type locale, which in the C
    // locale knows no character beyond ASCII.
    ScopedCodePageLocale utf8(kCodePageUtf8);
    size_t width = 0;
    for (wchar_t c : text) {
        const int w = utf8.active() ? ::wcwidth(c) : 1;
        width += w < 0 ? 1 : size_t(w);
    }
    return width;
}

ScopedCodePageLocale::ScopedCodePageLocale(int codePage) {
    // Windows names the locale ".1252"; glibc needs a language and a charset. The
    // C.UTF-8 locale classifies every character the wide-character tests meet.
    std::string charset = iconvName(codePage);
    const std::string candidates[] = {"en_US." + charset, "C." + charset, "C.UTF-8"};
    for (const auto& name : candidates) {
        if (charset.empty() && &name != &candidates[2])
            continue;
        locale_t loc = newlocale(LC_CTYPE_MASK, name.c_str(), (locale_t)0);
        if (loc) {
            m_newLocale = loc;
            m_oldLocale = uselocale(loc);
            return;
        }
    }
}

ScopedCodePageLocale::~ScopedCodePageLocale() {
    if (m_newLocale) {
        uselocale(static_cast<locale_t>(m_oldLocale));
        freelocale(static_cast<locale_t>(m_newLocale));
    }
}

} // namespace ut::platform
