// The message formatter over arbitrary texts: translations come from outside, and
// whatever a catalogue holds must neither crash nor read an argument that is not there.
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "ut_msgformat.h"

using ut::msgformat::Arg;
using ut::msgformat::ArgKind;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::wstring text;
    for (size_t i = 0; i < size; ++i)
        text.push_back(wchar_t(data[i]));

    std::vector<ArgKind> kinds;
    bool usable = ut::msgformat::argumentKinds(text, kinds);
    if (!usable && ut::msgformat::format(text, {}) != text)
        __builtin_trap();

    std::vector<Arg> args;
    for (ArgKind k : kinds) {
        switch (k) {
        case ArgKind::Int:
        case ArgKind::Long:
        case ArgKind::LongLong:
            args.push_back(Arg::ofInt(-42, k));
            break;
        case ArgKind::Double:
            args.push_back(Arg::ofDouble(-1.5e300));
            break;
        case ArgKind::LongDouble:
            args.push_back(Arg::ofLongDouble(1e4000L));
            break;
        case ArgKind::NarrowText:
            args.push_back(Arg::ofNarrow("n\xfc"));
            break;
        case ArgKind::WideText:
            args.push_back(Arg::ofWide(L"w"));
            break;
        case ArgKind::Pointer:
            args.push_back(Arg::ofPointer(nullptr));
            break;
        }
    }
    ut::msgformat::format(text, args);
    // One argument short: nothing may be read, the text stays as it is.
    if (!args.empty()) {
        args.pop_back();
        if (ut::msgformat::format(text, args) != text)
            __builtin_trap();
    }
    return 0;
}
