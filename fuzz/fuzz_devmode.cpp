// Device-mode records as they arrive from callers and configurations: checking,
// copying and dumping a record of any bytes never reads past it, and a copy is
// made exactly when the record holds its public part and private bytes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <wx/log.h>

#include "ut_printdata.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    wxLog::EnableLogging(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // Exactly the bytes given, so that any read beyond them is caught.
    std::vector<uint8_t> bytes(data, data + size);
    if (bytes.empty())
        return 0;
    const auto* dm = reinterpret_cast<const DEVMODEW*>(bytes.data());

    OdString text;
    ut::dumpDevMode(dm, size, text);
    const bool own = ut::hasOwnPrivateData(dm, size);
    ut::DevModePtr copy = ut::copyDevMode(dm, size);
    if (copy) {
        const size_t record = size_t(copy->dmSize) + copy->dmDriverExtra;
        if (record > size || std::memcmp(copy.get(), bytes.data(), record) != 0 ||
            own != ut::hasOwnPrivateData(copy.get(), record))
            __builtin_trap();
    } else if (own) {
        __builtin_trap();
    }
    return 0;
}
