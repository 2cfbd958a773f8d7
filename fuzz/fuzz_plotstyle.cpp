// Plot style tables from arbitrary parameter text, and plot styles from
// arbitrary binary streams. The first byte picks the form: 'B' a binary stream,
// anything else the text of a table (as a container holds it). A text is also
// read from a file, where a table whose text has the usual shape is read
// straight from its lines: that must give the table the block tree gives, or
// fail where it fails.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <unistd.h>

#include "binstream.h"
#include "pia.h"
#include "plotstyletable.h"

namespace {

// init is protected; a table reaches it through its own class.
struct FuzzTable : CPlotStyleTable {
    bool load(CPIAParser& parser) { return init(parser); }
    static bool save(const CPlotStyleTable& t, CPBlock& root) {
        auto blockForm = static_cast<bool (CPlotStyleTable::*)(CPBlock&) const>(&FuzzTable::writeToBlock);
        return (t.*blockForm)(root);
    }
};

std::wstring dump(const CPBlock& b) {
    std::wstring out;
    for (const CPItem* item : b.items()) {
        out += item->name().str() + L":" + std::to_wstring(item->kind()) + L"=";
        switch (item->kind()) {
        case kPBlock: out += L"{" + dump(*static_cast<const CPBlock*>(item)) + L"}"; break;
        case kPBool: out += static_cast<const CPBool*>(item)->value() ? L"1" : L"0"; break;
        case kPStr: out += static_cast<const CPStr*>(item)->value().str(); break;
        case kPNum: out += static_cast<const CPNum*>(item)->value().str(); break;
        case kPBin: out += static_cast<const CPBin*>(item)->value().str(); break;
        }
        out += L";";
    }
    return out;
}

// The table read from a container file holding the text, or null. The file's
// extension says nothing about the table's kind, as the tree alone knows none;
// it is gone again before anything is checked, so a failing input leaves none.
std::unique_ptr<CPlotStyleTable> readFromFile(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/drutils-fuzz-plotstyle-" + std::to_string(getpid()) + ".tbl";
    unsigned long packed = ZlibEngine::compressedSize(size);
    std::string stream(packed, '\0');
    ZlibEngine::compressMemory(reinterpret_cast<uint8_t*>(stream.data()), &packed, data, size, 1);
    stream.resize(packed);
    std::string bytes = "PIAFILEVERSION_2.0,CTBVER1,compress\r\npmzlibcodec";
    bytes.resize(60, '\0');
    bytes += stream;
    if (FILE* f = std::fopen(path.c_str(), "wb")) {
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::fclose(f);
    }
    const std::wstring wide(path.begin(), path.end());
    std::unique_ptr<CPlotStyleTable> table(CPlotStyleTable::read(wide.c_str(), nullptr));
    std::remove(path.c_str());
    return table;
}

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
    const bool parsed = parser.parseText(reinterpret_cast<const char*>(data), size);
    const std::unique_ptr<CPlotStyleTable> read = readFromFile(data, size);
    if (!parser.root()) {
        if (read)
            __builtin_trap();
        return 0;
    }
    FuzzTable table;
    const bool loaded = table.load(parser);
    if (bool(read) != (parsed && loaded))
        __builtin_trap();
    if (!loaded)
        return 0;
    // Whatever loads must lay out again, and every colour index of a
    // colour-dependent table must have its style.
    CPBlock root(L"");
    if (!FuzzTable::save(table, root))
        __builtin_trap();
    if (read) {
        CPBlock again(L"");
        if (!FuzzTable::save(*read, again) || dump(again) != dump(root))
            __builtin_trap();
    }
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
