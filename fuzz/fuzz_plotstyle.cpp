// Plot style tables from arbitrary parameter text, and plot styles from
// arbitrary binary streams. The first byte picks the form: 'B' a binary stream,
// anything else the text of a table (as a container holds it).
#include <cstddef>
#include <cstdint>
#include <memory>

#include "binstream.h"
#include "pia.h"
#include "plotstyletable.h"

namespace {

// init is protected; a table reaches it through its own class.
struct FuzzTable : CPlotStyleTable {
    bool load(CPIAParser& parser) { return init(parser); }
    bool save(CPBlock& root) const { return writeToBlock(root); }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size > 0 && data[0] == 'B') {
        CIBinStreamImp in(data + 1, unsigned(size - 1));
        try {
            CPlotStyle s;
            s.read(in);
            COBinStreamImp out;
            s.write(out);
        } catch (int e) {
            if (e != 0)
                __builtin_trap();
        }
        return 0;
    }
    CPIAParser parser;
    parser.parseText(reinterpret_cast<const char*>(data), size);
    if (!parser.root())
        return 0;
    FuzzTable table;
    if (!table.load(parser))
        return 0;
    // Whatever loads must lay out again, and every colour index of a
    // colour-dependent table must have its style.
    CPBlock root(L"");
    if (!table.save(root))
        __builtin_trap();
    OdString why;
    CPIAFileOut::canStore(&root, &why);
    if (table.useACI())
        for (int k = 1; k <= CAciTable::kSize; ++k)
            if (!table.ACI().at(k))
                __builtin_trap();
    std::unique_ptr<CPlotStyleTable> named(ctb2stb(table));
    if (table.useACI() && !named)
        __builtin_trap();
    return 0;
}
