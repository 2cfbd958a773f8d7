// Loading plot style tables.
//
// Subject: CPlotStyleTable::read of a real colour-dependent table (255 styles).
// Baseline: the in-memory floor of the same parameter file, measured in this
// run: read the file into memory, inflate its zlib stream, count its lines.
// Everything read() does beyond that (the lines, the styles, and for a text of
// an unusual shape the parser and its tree) shows as the ratio; the target is 4x
// or less.
//
// Peer: ezdxf's reader loading the same file, timed by a Python subprocess over
// its own loop (so the interpreter's start does not count); the target is for
// read() to be at least 12x faster. Also reported: ctb2stb of the table.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>
#include <zlib.h>

#include <wx/init.h>

#include "pia.h"
#include "pia_floor.h"
#include "plotstyletable.h"
#include "platform/codepage.h"

namespace {

const std::string kTable = std::string(DRUTILS_BENCH_DATA) + "/color-dependent-factory.ctb";

void BM_Floor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(bench::loadFloor(kTable));
}
BENCHMARK(BM_Floor)->Unit(benchmark::kMicrosecond);

// The parameter-file layer alone (container, text, tree): what read() would
// cost before a single style is made if it went through the general tree.
void BM_Parse(benchmark::State& state) {
    const std::wstring path = ut::platform::utf8ToWide(kTable);
    for (auto _ : state) {
        CPIAParser parser;
        if (!parser.parse(path.c_str())) {
            state.SkipWithError("the file does not parse");
            break;
        }
        benchmark::DoNotOptimize(parser.root());
    }
}
BENCHMARK(BM_Parse)->Unit(benchmark::kMicrosecond);

void BM_Read(benchmark::State& state) {
    const std::wstring path = ut::platform::utf8ToWide(kTable);
    for (auto _ : state) {
        std::unique_ptr<CPlotStyleTable> t(CPlotStyleTable::read(path.c_str()));
        if (!t || t->size() != 255) {
            state.SkipWithError("the table does not load");
            break;
        }
        benchmark::DoNotOptimize(t.get());
    }
}
BENCHMARK(BM_Read)->Unit(benchmark::kMicrosecond);

void BM_Ctb2Stb(benchmark::State& state) {
    const std::wstring path = ut::platform::utf8ToWide(kTable);
    std::unique_ptr<CPlotStyleTable> ctb(CPlotStyleTable::read(path.c_str()));
    if (!ctb) {
        state.SkipWithError("the table does not load");
        return;
    }
    // Colours that differ, so that the merge has work to do.
    for (int k = 1; k <= 255; ++k)
        ctb->ACI().at(k)->setLineWeight(k % 7);
    for (auto _ : state) {
        std::unique_ptr<CPlotStyleTable> stb(ctb2stb(*ctb));
        benchmark::DoNotOptimize(stb.get());
    }
}
BENCHMARK(BM_Ctb2Stb)->Unit(benchmark::kMicrosecond);


} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    // The ratios use the best of the repetitions.
    bench::BestOfReporter collector;
    bench::runRepeated(argc, argv, collector);

    auto at = [&](const char* name) { return collector.best(name); };
    const bench::BestOfReporter::Best floorTime = at("BM_Floor"), parseTime = at("BM_Parse"), readTime = at("BM_Read"),
                          convertTime = at("BM_Ctb2Stb");
    std::string ezdxfWhy;
    const bench::BestOfReporter::Best ezdxf = bench::ezdxfSeconds(kTable, 20, ezdxfWhy);
    auto ratio = [](double a, double b) { return a > 0 && b > 0 ? a / b : 0.0; };
    std::printf("\n%s (best of the repetitions; wall clock, and CPU time in brackets)\n", kTable.c_str());
    std::printf("read / in-memory floor:    %6.2fx  [%6.2fx]   target <= 4x\n", ratio(readTime.real, floorTime.real),
                ratio(readTime.cpu, floorTime.cpu));
    std::printf("parse / in-memory floor:   %6.2fx  [%6.2fx]   the parameter-file layer alone\n",
                ratio(parseTime.real, floorTime.real), ratio(parseTime.cpu, floorTime.cpu));
    std::printf("read / parse:              %6.2fx  [%6.2fx]   below 1 when the table is read straight from its lines\n",
                ratio(readTime.real, parseTime.real), ratio(readTime.cpu, parseTime.cpu));
    if (ezdxf.real > 0)
        std::printf("ezdxf load / read:         %6.1fx  [%6.1fx]   target >= 12x (ezdxf %.0f us per load)\n",
                    ratio(ezdxf.real, readTime.real), ratio(ezdxf.cpu, readTime.cpu), ezdxf.real * 1e6);
    else
        std::printf("ezdxf load / read:         NOT MEASURED: %s\n", ezdxfWhy.c_str());
    std::printf("ctb2stb of 255 styles:     %.1f us [%.1f us], %.2fx the floor\n", convertTime.real * 1e6,
                convertTime.cpu * 1e6, ratio(convertTime.real, floorTime.real));
    return 0;
}
