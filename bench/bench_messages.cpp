// Message texts: what the library's own lookups and formatter cost over the plain
// toolkit and C library calls they replace.
// Baselines, measured in the same run:
//   accessor (no catalogue / German catalogue) vs wxGetTranslation of the same text;
//   SDK message 456 with two integers vs OdString::format of its English format.
// Prints each subject's time as a ratio to its baseline.
#include <benchmark/benchmark.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>

#include <wx/init.h>
#include <wx/translation.h>

#include "ut_messages.h"

namespace {

OdString dwg(unsigned code, ...) {
    va_list args;
    va_start(args, code);
    OdString text = ut::formatDwgDirectMessage(code, &args);
    va_end(args);
    return text;
}

void BM_AccessorBaseline(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(wxGetTranslation(L"An angle is needed. Please try again.").wc_str());
}

void BM_Accessor(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(ut::Messages::angle());
}

void BM_DwgFormatBaseline(benchmark::State& state) {
    for (auto _ : state) {
        OdString s;
        s.format(L"Total errors found during audit %d, fixed %d", 3, 2);
        benchmark::DoNotOptimize(s);
    }
}

void BM_DwgFormat(benchmark::State& state) {
    for (auto _ : state)
        benchmark::DoNotOptimize(dwg(456, 3, 2));
}

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const auto& r : runs)
            times[r.benchmark_name()] = r.GetAdjustedRealTime();
    }
    std::map<std::string, double> times;
};

bool loadGermanCatalogue(const std::string& dir) {
    std::string folder = dir + "/de/LC_MESSAGES";
    std::string command = "mkdir -p '" + folder + "' && msgfmt -o '" + folder + "/bench.mo' '" +
                          DRUTILS_BENCH_DATA "/messages_de.po'";
    if (std::system(command.c_str()) != 0)
        return false;
    wxFileTranslationsLoader::AddCatalogLookupPathPrefix(wxString::FromUTF8(dir));
    auto* translations = new wxTranslations;
    translations->SetLanguage("de");
    wxTranslations::Set(translations);
    return translations->AddCatalog("bench");
}

} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;

    benchmark::RegisterBenchmark("accessor/baseline/english", BM_AccessorBaseline);
    benchmark::RegisterBenchmark("accessor/english", BM_Accessor);
    benchmark::RegisterBenchmark("dwg456/baseline", BM_DwgFormatBaseline);
    benchmark::RegisterBenchmark("dwg456", BM_DwgFormat);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::ClearRegisteredBenchmarks();

    char dir[] = "/tmp/drutils-bench-XXXXXX";
    if (mkdtemp(dir) && loadGermanCatalogue(dir)) {
        benchmark::RegisterBenchmark("accessor/baseline/german", BM_AccessorBaseline);
        benchmark::RegisterBenchmark("accessor/german", BM_Accessor);
        benchmark::RunSpecifiedBenchmarks(&reporter);
    } else {
        std::fprintf(stderr, "no German catalogue (msgfmt missing?): translated accessor not measured\n");
    }
    wxTranslations::Set(nullptr);
    if (std::system((std::string("rm -rf '") + dir + "'").c_str()) != 0)
        std::fprintf(stderr, "could not remove %s\n", dir);

    std::printf("\nratios to baseline (lower is faster):\n");
    const std::pair<const char*, const char*> pairs[] = {
        {"accessor/english", "accessor/baseline/english"},
        {"accessor/german", "accessor/baseline/german"},
        {"dwg456", "dwg456/baseline"},
    };
    for (const auto& [subject, base] : pairs)
        if (reporter.times.count(subject) && reporter.times.count(base))
            std::printf("  %-20s %.2f\n", subject, reporter.times[subject] / reporter.times[base]);
    benchmark::Shutdown();
    return 0;
}
