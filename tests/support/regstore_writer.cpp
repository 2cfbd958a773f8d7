// Writes settings in a loop for the store's reliability tests, as another process
// of the application would: regstore_writer ID COUNT. For i below COUNT it writes
// "/Reliability/w<ID>/d<i>" = i (a key of its own) and "/Reliability/s<i % 50>"
// = ID * 1000000 + i (keys every writer shares), each through ut::Config, and
// prints i on its own line once both writes were reported done. Exits 1 at the
// first failed write. The store is the one DRUTILS_REGISTRY_DB names.
#include <cstdio>
#include <cstdlib>
#include <string>

#include <wx/init.h>

#include "ut_config.h"

int main(int argc, char** argv) {
    if (argc != 3)
        return 2;
    wxInitializer wx;
    if (!wx.IsOk())
        return 2;
    const long id = std::strtol(argv[1], nullptr, 10);
    const long count = std::strtol(argv[2], nullptr, 10);
    for (long i = 0; i < count; ++i) {
        OdString own, shared;
        own.format(L"/Reliability/w%ld/d%ld", id, i);
        shared.format(L"/Reliability/s%ld", i % 50);
        if (!ut::Config::writeLong(own, i) || !ut::Config::writeLong(shared, id * 1000000 + i)) {
            std::printf("failed %ld\n", i);
            return 1;
        }
        std::printf("%ld\n", i);
        std::fflush(stdout);
    }
    ut::Config::unInitConfig();
    return 0;
}
