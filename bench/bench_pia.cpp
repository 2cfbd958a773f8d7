// Loading and writing a real 255-style plot style table, each against the
// physical floor of the same work measured in the same run:
//   read:  CPIAParser::parse  vs  reading the file into memory, inflating it with
//          zlib and counting its lines;
//   write: CPIAFileOut (open, writeBlock, close)  vs  deflating the same text at
//          level 6 in memory and writing it durably (write, fsync, rename) to a file.
// A third baseline, the tree floor, builds the same tree from names and values
// already in memory and deletes it: the allocations any parser of this interface
// makes, since every item and most names and values are heap objects of their own.
// The ratios (best of five repetitions, wall clock and CPU time) are printed
// after Google Benchmark's own table.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>
#include <wx/init.h>
#include <zlib.h>

#include "pia.h"
#include "pia_floor.h"
#include "platform/codepage.h"

namespace {

const std::string kTable = std::string(DRUTILS_BENCH_DATA) + "/color-dependent-factory.ctb";
std::string g_outDir;

std::wstring wide(const std::string& s) { return ut::platform::utf8ToWide(s); }

void BM_ReadFloor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(bench::loadFloor(kTable));
}

void BM_Parse(benchmark::State& state) {
    const std::wstring path = wide(kTable);
    for (auto _ : state) {
        CPIAParser parser;
        if (!parser.parse(path.c_str()))
            state.SkipWithError("parse failed");
        benchmark::DoNotOptimize(parser.root());
    }
}

CPBlock* copyTree(const CPBlock* from) {
    auto* to = new CPBlock(from->name().c_str());
    for (const CPItem* item : from->items()) {
        CPItem* copy = nullptr;
        switch (item->kind()) {
        case kPBlock:
            copy = copyTree(static_cast<const CPBlock*>(item));
            break;
        case kPNum:
            copy = new CPNum(item->name().c_str(), static_cast<const CPNum*>(item)->value().c_str());
            break;
        case kPStr:
            copy = new CPStr(item->name().c_str(), static_cast<const CPStr*>(item)->value().c_str());
            break;
        case kPBool:
            copy = new CPBool(item->name().c_str(), static_cast<const CPBool*>(item)->value());
            break;
        case kPBin:
            copy = new CPBin(item->name().c_str(), static_cast<const CPBin*>(item)->value().c_str());
            break;
        }
        if (copy && !to->add(copy))
            delete copy;
    }
    return to;
}

void BM_TreeFloor(benchmark::State& state) {
    CPIAParser parser;
    if (!parser.parse(wide(kTable).c_str())) {
        state.SkipWithError("parse failed");
        return;
    }
    for (auto _ : state) {
        CPBlock* copy = copyTree(parser.root());
        benchmark::DoNotOptimize(copy);
        delete copy;
    }
}

void BM_WriteFloor(benchmark::State& state) {
    const std::string bytes = bench::readBytes(kTable);
    std::string text(1u << 20, '\0');
    uLongf size = text.size();
    uncompress(reinterpret_cast<Bytef*>(text.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()) + 60,
               uLong(bytes.size() - 60));
    text.resize(size);
    const std::string out = g_outDir + "/floor.ctb", tmp = g_outDir + "/floor.tmp";
    std::string packed(compressBound(uLong(text.size())), '\0');
    for (auto _ : state) {
        uLongf n = packed.size();
        compress2(reinterpret_cast<Bytef*>(packed.data()), &n, reinterpret_cast<const Bytef*>(text.data()),
                  uLong(text.size()), 6);
        // Durable, as a replacement must be: written, synced, renamed into place.
        FILE* f = std::fopen(tmp.c_str(), "wb");
        std::fwrite(bytes.data(), 1, 60, f);
        std::fwrite(packed.data(), 1, n, f);
        std::fflush(f);
        fsync(fileno(f));
        std::fclose(f);
        std::rename(tmp.c_str(), out.c_str());
    }
}

void BM_Write(benchmark::State& state) {
    CPIAParser parser;
    if (!parser.parse(wide(kTable).c_str())) {
        state.SkipWithError("parse failed");
        return;
    }
    const std::wstring out = wide(g_outDir + "/written.ctb");
    for (auto _ : state) {
        CPIAFileOut file;
        file.open();
        file.writeBlock(parser.root());
        if (file.close(out.c_str()) != 0)
            state.SkipWithError("write failed");
    }
}

BENCHMARK(BM_ReadFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TreeFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Parse)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WriteFloor)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Write)->Unit(benchmark::kMicrosecond);


} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    char dirTemplate[] = "/tmp/drutils-bench-XXXXXX";
    if (!wx.IsOk() || !mkdtemp(dirTemplate))
        return 1;
    g_outDir = dirTemplate;

    // The ratios use the best of the repetitions.
    bench::BestOfReporter collector;
    bench::runRepeated(argc, argv, collector);
    std::remove((g_outDir + "/floor.ctb").c_str());
    std::remove((g_outDir + "/written.ctb").c_str());
    rmdir(g_outDir.c_str());

    auto at = [&](const char* name) { return collector.best(name); };
    const bench::BestOfReporter::Best readFloor = at("BM_ReadFloor"), treeFloor = at("BM_TreeFloor"), parse = at("BM_Parse"),
                          writeFloor = at("BM_WriteFloor"), write = at("BM_Write");
    auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : 0.0; };
    std::printf("\n%s (best of the repetitions; wall clock, and CPU time in brackets)\n", kTable.c_str());
    std::printf("parse / read floor:                %6.2fx  [%6.2fx]   target <= 2.5x\n",
                ratio(parse.real, readFloor.real), ratio(parse.cpu, readFloor.cpu));
    std::printf("tree floor / read floor:           %6.2fx  [%6.2fx]   the items' allocations alone\n",
                ratio(treeFloor.real, readFloor.real), ratio(treeFloor.cpu, readFloor.cpu));
    std::printf("parse / (read floor + tree floor): %6.2fx  [%6.2fx]   what the parser adds\n",
                ratio(parse.real, readFloor.real + treeFloor.real), ratio(parse.cpu, readFloor.cpu + treeFloor.cpu));
    std::printf("write / durable write floor:       %6.2fx  [%6.2fx]\n", ratio(write.real, writeFloor.real),
                ratio(write.cpu, writeFloor.cpu));
    return 0;
}
