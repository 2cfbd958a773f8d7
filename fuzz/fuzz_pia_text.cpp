// Parameter-file text: any bytes as the decompressed text of a container, parsed,
// checked for a consistent tree and printed again.
#include <cstddef>
#include <cstdint>
#include <wx/init.h>

#include "pia.h"

namespace {

// Every child is found again by its own name and kind, and is the one found.
void checkTree(const CPBlock* block, int depth) {
    if (depth > CPIAParser::kMaxDepth + 1)
        __builtin_trap();
    for (const CPItem* item : block->items()) {
        if (block->find(item->name().c_str(), item->kind()) != item)
            __builtin_trap();
        if (item->kind() == kPBlock)
            checkTree(static_cast<const CPBlock*>(item), depth + 1);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    static wxInitializer wx;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    CPIAParser parser;
    const bool ok = parser.parseText(reinterpret_cast<const char*>(data), size);
    if (!parser.root() || ok != (parser.errorLine() == 0))
        __builtin_trap();
    checkTree(parser.root(), 0);

    // What a writer would be told about storing it, and the printer over whatever
    // was read; the text file is dropped unwritten.
    OdString why;
    CPIAFileOut::canStore(parser.root(), &why);
    CPIAFileOut out;
    if (out.open() == 0)
        out.writeBlock(parser.root());
    return 0;
}
