// Loading plot style tables.
//
// Subject: CPlotStyleTable::read of a real colour-dependent table (255 styles).
// Baseline: the in-memory floor of the same parameter file, measured in this
// run: read the file into memory, inflate its zlib stream, count its lines.
// Everything read() does beyond that (the temporary text, the parser, the tree,
// the styles) shows as the ratio; the target is 3x or less.
//
// Peer: ezdxf's reader loading the same file, timed by a Python subprocess over
// its own loop (so the interpreter's start does not count); the target is for
// read() to be at least 15x faster. Also reported: ctb2stb of the table.
#include <benchmark/benchmark.h>

#include <cstdio>
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
#include "plotstyletable.h"
#include "platform/codepage.h"

namespace {

const std::string kTable = std::string(DRUTILS_BENCH_DATA) + "/color-dependent-factory.ctb";

size_t floorLoad(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    const std::string file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (file.size() < 60)
        return 0;
    z_stream z{};
    inflateInit(&z);
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(file.data()) + 60);
    z.avail_in = uInt(file.size() - 60);
    std::vector<char> text(1 << 16);
    size_t used = 0, lines = 0;
    int rc = Z_OK;
    while (rc == Z_OK) {
        if (used == text.size())
            text.resize(text.size() * 2);
        z.next_out = reinterpret_cast<Bytef*>(text.data() + used);
        z.avail_out = uInt(text.size() - used);
        rc = inflate(&z, Z_NO_FLUSH);
        used = text.size() - z.avail_out;
    }
    inflateEnd(&z);
    for (size_t i = 0; i < used; ++i)
        lines += text[i] == '\n';
    return lines;
}

void BM_Floor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(floorLoad(kTable));
}
BENCHMARK(BM_Floor)->Unit(benchmark::kMicrosecond);

// The parameter-file layer alone (container, text, tree): what read() costs
// before a single style is made.
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

// Keeps the mean real time per iteration of every run, in seconds.
class Collector : public benchmark::ConsoleReporter {
public:
    std::map<std::string, double> seconds;
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs)
            if (!r.error_occurred && r.iterations > 0)
                seconds[r.benchmark_name()] = r.real_accumulated_time / double(r.iterations);
        ConsoleReporter::ReportRuns(runs);
    }
};

// Seconds per load with ezdxf, or a negative value when it cannot be run.
double ezdxfSeconds(int loads) {
    const std::string cmd = "/usr/bin/python3 -c '"
                            "import sys, time\n"
                            "from ezdxf.addons import acadctb\n"
                            "acadctb.load(sys.argv[1])\n"
                            "t = time.perf_counter()\n"
                            "for i in range(int(sys.argv[2])): acadctb.load(sys.argv[1])\n"
                            "print((time.perf_counter() - t) / int(sys.argv[2]))\n"
                            "' '" +
                            kTable + "' " + std::to_string(loads) + " 2>/dev/null";
    FILE* p = popen(cmd.c_str(), "r");
    if (!p)
        return -1;
    double s = -1;
    if (std::fscanf(p, "%lf", &s) != 1)
        s = -1;
    return pclose(p) == 0 ? s : -1;
}

} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    benchmark::Initialize(&argc, argv);
    Collector collector;
    benchmark::RunSpecifiedBenchmarks(&collector);
    benchmark::Shutdown();

    const auto& s = collector.seconds;
    auto at = [&](const char* name) { return s.count(name) ? s.at(name) : -1.0; };
    const double floorTime = at("BM_Floor"), parseTime = at("BM_Parse"), readTime = at("BM_Read"),
                 convertTime = at("BM_Ctb2Stb");
    std::printf("\n%s\n", kTable.c_str());
    if (floorTime > 0 && readTime > 0)
        std::printf("read / in-memory floor:   %.2fx  (target <= 3x)\n", readTime / floorTime);
    if (floorTime > 0 && parseTime > 0 && readTime > 0)
        std::printf("  of which parsing:       %.2fx the floor; styles and tables %.0f%% of read\n",
                    parseTime / floorTime, 100.0 * (readTime - parseTime) / readTime);
    const double ezdxf = ezdxfSeconds(30);
    if (ezdxf > 0 && readTime > 0)
        std::printf("ezdxf load / read:        %.1fx  (target >= 15x; ezdxf %.0f us per load)\n", ezdxf / readTime,
                    ezdxf * 1e6);
    else
        std::printf("ezdxf load / read:        not measured (python3-ezdxf missing)\n");
    if (convertTime > 0)
        std::printf("ctb2stb of 255 styles:    %.1f us (%.2fx the floor)\n", convertTime * 1e6,
                    floorTime > 0 ? convertTime / floorTime : 0.0);
    return 0;
}
