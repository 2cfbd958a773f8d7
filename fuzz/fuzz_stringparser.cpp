// Attribute parser and splitter over arbitrary wide text.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "ut_strings.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // A leading 0xFF byte switches to UTF-32 units (clipped to valid code points)
    // so that every wide character reaches the parser; otherwise a byte is a character.
    std::wstring text;
    if (size > 0 && data[0] == 0xFF) {
        for (size_t i = 1; i + 4 <= size; i += 4) {
            uint32_t u;
            std::memcpy(&u, data + i, 4);
            text.push_back(wchar_t(u % 0x110000));
        }
    } else {
        for (size_t i = 0; i < size; ++i)
            text.push_back(wchar_t(data[i]));
    }
    OdString s(text);

    ut::CStringParser parser;
    parser.parse(s);
    for (const auto& [name, value] : parser.attributes())
        if (parser.attribute(name) != value)
            __builtin_trap();

    OdArray<OdString> delimiters;
    delimiters.append(L"|");
    delimiters.append(L"||");
    delimiters.append(s.left(2));
    OdArray<OdString> parts;
    ut::split(parts, s, delimiters, true, true);
    // With empty parts and delimiters kept, the pieces put back together are the text.
    OdString joined;
    for (const auto& p : parts)
        joined += p;
    if (joined != s)
        __builtin_trap();
    parts.clear();
    ut::split(parts, s, OdString(L","), false, false);
    ut::splitLines(parts, s, true);
    ut::isValidName(s.c_str());
    ut::isValidHandleString(s.c_str());
    OdString t = s;
    ut::trimTrailingZeros(t, L'.');
    return 0;
}
