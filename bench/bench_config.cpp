// The settings store through ut::Config, against the toolkit's file-based
// configuration (wxFileConfig) doing the same operations in memory and writing
// its file once, measured in the same run:
//   reads:   Config::read of a string and of an integer in a group with 100 entries
//            vs wxFileConfig::Read of the same absolute key;
//   writes:  Config::writeLong, each committed and surviving a killed process,
//            vs wxFileConfig::Write into memory (which survives nothing), and vs
//            the floor of the same durability: one row written by a bare SQLite
//            transaction (WAL, synchronous=NORMAL, prepared statements);
//   export:  Config::exportProfile of a profile of 10,000 values (100 keys of 100)
//            vs wxFileConfig writing the same 10,000 entries to its file;
//   import:  Config::import of that file vs wxFileConfig reading its file.
// Prints each ratio (baseline time / subject time) and the absolute rates against
// the targets: reads >= 1,000,000/s and within 2x of the baseline, durable writes
// >= 20,000/s, export and import of the profile under 0.5 s each.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <unistd.h>

#include <sqlite3.h>
#include <wx/fileconf.h>
#include <wx/init.h>
#include <wx/wfstream.h>

#include "ratio_reporter.h"
#include "ut_config.h"

namespace {

std::string g_dir;
const wxString kSetup = "/V17x64/en_US/Setup/";
constexpr int kKeys = 100, kValuesPerKey = 100;

wxString fileConfigPath() { return wxString::FromUTF8(g_dir + "/baseline.ini"); }

std::unique_ptr<wxFileConfig> openFileConfig() {
    return std::make_unique<wxFileConfig>("Draftium", "Corvane", fileConfigPath(), wxEmptyString,
                                          wxCONFIG_USE_LOCAL_FILE);
}

void fillSetup(wxConfigBase& c) {
    for (int i = 0; i < kValuesPerKey; ++i) {
        c.Write(kSetup + wxString::Format("s%d", i), wxString::Format("value number %d", i));
        c.Write(kSetup + wxString::Format("n%d", i), long(i));
    }
}

void fillProfile(wxConfigBase& c, const wxString& base) {
    for (int k = 0; k < kKeys; ++k) {
        const wxString key = base + wxString::Format("Group%d/", k);
        for (int v = 0; v < kValuesPerKey; ++v) {
            if (v % 3 == 0)
                c.Write(key + wxString::Format("n%d", v), long(v * 7919));
            else
                c.Write(key + wxString::Format("s%d", v), wxString::Format("C:\\Path %d\\to \"thing\" %d", k, v));
        }
    }
}

void BM_ReadStringBaseline(benchmark::State& state) {
    auto fc = openFileConfig();
    fillSetup(*fc);
    const wxString key = kSetup + "s42";
    wxString out;
    for (auto _ : state)
        benchmark::DoNotOptimize(fc->Read(key, &out));
}

void BM_ReadString(benchmark::State& state) {
    OdString out;
    for (auto _ : state)
        benchmark::DoNotOptimize(ut::Config::read(ut::kCfgSetup, L"s42", out));
    if (out != L"value number 42")
        state.SkipWithError("wrong value");
}

void BM_ReadIntegerBaseline(benchmark::State& state) {
    auto fc = openFileConfig();
    fillSetup(*fc);
    const wxString key = kSetup + "n42";
    long out = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(fc->Read(key, &out));
}

void BM_ReadInteger(benchmark::State& state) {
    long out = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(ut::Config::read(ut::kCfgSetup, L"n42", out));
    if (out != 42)
        state.SkipWithError("wrong value");
}

void BM_WriteBaseline(benchmark::State& state) {
    auto fc = openFileConfig();
    long i = 0;
    for (auto _ : state) {
        fc->Write(kSetup + "w" + wxString::Format("%ld", i % 100), i);
        ++i;
    }
    fc->Flush();
}

void BM_WriteDurable(benchmark::State& state) {
    long i = 0;
    static const OdString names[] = {L"w0", L"w1", L"w2", L"w3", L"w4", L"w5", L"w6", L"w7", L"w8", L"w9"};
    for (auto _ : state) {
        if (!ut::Config::writeLong(ut::kCfgSetup, names[i % 10], i))
            state.SkipWithError("write failed");
        ++i;
    }
}

void BM_WriteFloor(benchmark::State& state) {
    const std::string path = g_dir + "/floor.db";
    sqlite3* db = nullptr;
    sqlite3_open(path.c_str(), &db);
    sqlite3_exec(db,
                 "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;"
                 "CREATE TABLE IF NOT EXISTS v(id INTEGER PRIMARY KEY, k INTEGER, f TEXT, t INTEGER, d BLOB,"
                 " UNIQUE(k, f))",
                 nullptr, nullptr, nullptr);
    sqlite3_stmt *begin = nullptr, *upsert = nullptr, *commit = nullptr;
    sqlite3_prepare_v2(db, "BEGIN IMMEDIATE", -1, &begin, nullptr);
    sqlite3_prepare_v2(db,
                       "INSERT INTO v(k, f, t, d) VALUES (1, ?1, 4, ?2)"
                       " ON CONFLICT(k, f) DO UPDATE SET t = excluded.t, d = excluded.d",
                       -1, &upsert, nullptr);
    sqlite3_prepare_v2(db, "COMMIT", -1, &commit, nullptr);
    static const char* names[] = {"W0", "W1", "W2", "W3", "W4", "W5", "W6", "W7", "W8", "W9"};
    long i = 0;
    for (auto _ : state) {
        sqlite3_step(begin);
        sqlite3_reset(begin);
        sqlite3_bind_text(upsert, 1, names[i % 10], -1, SQLITE_STATIC);
        sqlite3_bind_blob(upsert, 2, &i, 4, SQLITE_TRANSIENT);
        sqlite3_step(upsert);
        sqlite3_reset(upsert);
        if (sqlite3_step(commit) != SQLITE_DONE)
            state.SkipWithError("commit failed");
        sqlite3_reset(commit);
        ++i;
    }
    sqlite3_finalize(begin);
    sqlite3_finalize(upsert);
    sqlite3_finalize(commit);
    sqlite3_close(db);
}

void BM_ExportBaseline(benchmark::State& state) {
    for (auto _ : state) {
        state.PauseTiming();
        ::unlink((g_dir + "/export.ini").c_str());
        wxFileConfig fc("Draftium", "Corvane", wxString::FromUTF8(g_dir + "/export.ini"), wxEmptyString,
                        wxCONFIG_USE_LOCAL_FILE);
        fillProfile(fc, "/V17x64/en_US/Profiles/Bench/");
        state.ResumeTiming();
        fc.Flush();
    }
}

void BM_Export(benchmark::State& state) {
    const OdString file(wxString::FromUTF8(g_dir + "/profile.reg").wc_str());
    for (auto _ : state)
        if (!ut::Config::exportProfile(L"Bench", file, true))
            state.SkipWithError("export failed");
}

void BM_ImportBaseline(benchmark::State& state) {
    for (auto _ : state) {
        wxFileConfig fc("Draftium", "Corvane", wxString::FromUTF8(g_dir + "/export.ini"), wxEmptyString,
                        wxCONFIG_USE_LOCAL_FILE);
        benchmark::DoNotOptimize(fc.GetNumberOfGroups());
    }
}

void BM_Import(benchmark::State& state) {
    const OdString file(wxString::FromUTF8(g_dir + "/profile.reg").wc_str());
    for (auto _ : state) {
        state.PauseTiming();
        ut::Config::deleteGroup(ut::kCfgProfiles, L"Bench");
        state.ResumeTiming();
        if (!ut::Config::import(file, true))
            state.SkipWithError("import failed");
    }
}

} // namespace

int main(int argc, char** argv) {
    wxInitializer wx;
    char dirTemplate[] = "/tmp/drutils-bench-XXXXXX";
    if (!wx.IsOk() || !mkdtemp(dirTemplate))
        return 1;
    g_dir = dirTemplate;
    ::setenv("DRUTILS_REGISTRY_DB", (g_dir + "/registry.db").c_str(), 1);

    // The store under test: the setup group and a profile of 10,000 values.
    ut::Config::initProfile(L"Bench");
    wxConfigBase* config = wxConfigBase::Get(false);
    fillSetup(*config);
    fillProfile(*config, "/V17x64/en_US/Profiles/Bench/");

    benchmark::Initialize(&argc, argv);
    bench::RatioReporter reporter;
    benchmark::RegisterBenchmark("read/string/baseline", BM_ReadStringBaseline);
    benchmark::RegisterBenchmark("read/string", BM_ReadString);
    benchmark::RegisterBenchmark("read/integer/baseline", BM_ReadIntegerBaseline);
    benchmark::RegisterBenchmark("read/integer", BM_ReadInteger);
    benchmark::RegisterBenchmark("write/baseline", BM_WriteBaseline);
    benchmark::RegisterBenchmark("write/sqlite-floor", BM_WriteFloor);
    benchmark::RegisterBenchmark("write/durable", BM_WriteDurable);
    benchmark::RegisterBenchmark("export/baseline", BM_ExportBaseline)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("export", BM_Export)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("import/baseline", BM_ImportBaseline)->Unit(benchmark::kMillisecond);
    benchmark::RegisterBenchmark("import", BM_Import)->Unit(benchmark::kMillisecond);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    ut::Config::unInitConfig();

    reporter.printRatios({{"read/string", "read/string/baseline", "string read vs wxFileConfig"},
                          {"read/integer", "read/integer/baseline", "integer read vs wxFileConfig"},
                          {"write/durable", "write/baseline", "durable write vs in-memory write"},
                          {"write/durable", "write/sqlite-floor", "durable write vs bare SQLite commit"},
                          {"export", "export/baseline", "export of 10,000 values"},
                          {"import", "import/baseline", "import of 10,000 values"}});
    auto rate = [&](const char* name) {
        const double s = reporter.seconds(name);
        return s > 0 ? 1.0 / s : 0.0;
    };
    std::printf("\ntargets:\n");
    std::printf("  string reads   %10.0f /s   (>= 1,000,000 /s)\n", rate("read/string"));
    std::printf("  integer reads  %10.0f /s   (>= 1,000,000 /s)\n", rate("read/integer"));
    std::printf("  durable writes %10.0f /s   (>= 20,000 /s; the bare SQLite commit: %.0f /s)\n",
                rate("write/durable"), rate("write/sqlite-floor"));
    std::printf("  export         %10.3f s    (< 0.5 s)\n", reporter.seconds("export"));
    std::printf("  import         %10.3f s    (< 0.5 s)\n", reporter.seconds("import"));

    const std::string cleanup = "rm -rf '" + g_dir + "'";
    return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
