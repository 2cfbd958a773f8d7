// The lock-file reader over arbitrary bytes: files beside a drawing on a shared
// folder come from any program, or from anyone who can write there.
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "ut_filelock_text.h"

namespace {

bool plainAscii(const OdString& s) {
    for (wchar_t c : s.str())
        if (c < 0x20 || c > 0x7E)
            return false;
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > ut::lockfile::kMaxBytes)
        return 0; // the reader refuses such files before decoding them
    const std::string_view bytes(reinterpret_cast<const char*>(data), size);
    const OdString text = ut::lockfile::decode(bytes);
    const std::vector<OdString> lines = ut::lockfile::splitLines(text);

    // Lines hold no line ends, and every line but the last used up one.
    size_t characters = 0;
    for (const OdString& line : lines) {
        if (line.find(L'\n') >= 0 || line.find(L'\r') >= 0 || line.find(L'\0') >= 0)
            __builtin_trap();
        characters += size_t(line.getLength());
    }
    if (!lines.empty() && characters + lines.size() - 1 > size_t(text.getLength()))
        __builtin_trap();

    // Fields this library writes read back as they were.
    if (lines.size() >= 3 && !lines[2].isEmpty() && plainAscii(lines[0]) && plainAscii(lines[1]) &&
        plainAscii(lines[2])) {
        const std::vector<OdString> again =
            ut::lockfile::splitLines(ut::lockfile::decode(ut::lockfile::formatDwl(lines[0], lines[1], lines[2])));
        if (again.size() != 3 || again[0] != lines[0] || again[1] != lines[1] || again[2] != lines[2])
            __builtin_trap();
    }
    if (!lines.empty())
        ut::lockfile::formatDwl2(lines[0], lines.size() > 1 ? lines[1] : OdString(), text);
    return 0;
}
