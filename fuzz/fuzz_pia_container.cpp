// Parameter-file containers as they come from disk: any bytes, read by the parser
// through the container reader (header skipped, zlib stream inflated, lines cut).
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <string>
#include <unistd.h>
#include <wx/init.h>

#include "pia.h"
#include "platform/codepage.h"

namespace {

std::string g_path;

void removeInput() { unlink(g_path.c_str()); }

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static wxInitializer wx;
    char name[] = "/tmp/fuzz-pia-XXXXXX";
    int fd = mkstemp(name);
    if (fd < 0)
        std::abort();
    close(fd);
    g_path = name;
    std::atexit(removeInput);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FILE* f = std::fopen(g_path.c_str(), "wb");
    if (!f)
        std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    const std::wstring path = ut::platform::utf8ToWide(g_path);

    CPIAParser parser;
    const bool ok = parser.parse(path.c_str());
    if (ok != (parser.openResult() == 0 && parser.errorLine() == 0 && parser.root()))
        __builtin_trap();

    // Lines never exceed what one 511-byte read can hold.
    CPIAFileIn in;
    in.setMaxTextSize(1u << 20);
    if (in.open(path.c_str()) == 0)
        while (const wchar_t* line = in.readLine())
            if (std::wcslen(line) > 511)
                __builtin_trap();
    return 0;
}
