// Printer configurations and model files over arbitrary parameter text: reading
// never crashes, and whatever reads and writes once reads again from what it wrote.
#include <cstddef>
#include <cstdint>

#include <wx/log.h>

#include "plotcfg.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    // Rejections are logged; a fuzzer run would drown in them.
    wxLog::EnableLogging(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CPIAParser parser;
    if (!parser.parseText(reinterpret_cast<const char*>(data), size) || !parser.root())
        return 0;

    CPlotCfg3 cfg;
    bool intact = false;
    if (cfg.init(parser, intact)) {
        CPBlock root(L"");
        if (cfg.writeToBlock(&root)) {
            CPlotCfg3 again;
            bool intactAgain = false;
            if (!again.init(&root, intactAgain) || !intactAgain || again.isPdfExport() != cfg.isPdfExport())
                __builtin_trap();
            CPBlock second(L"");
            if (!again.writeToBlock(&second) || second.size() != root.size())
                __builtin_trap();
        }
    }

    PlotModelParam pmp;
    if (pmp.init(parser)) {
        CPBlock root(L"");
        if (pmp.writeToBlock(&root)) {
            PlotModelParam again;
            if (!again.init(&root))
                __builtin_trap();
        }
    }
    return 0;
}
