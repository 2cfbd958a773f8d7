// Tables as JSON source, as a script meets them: whole drutils processes.
//
// Baseline: `drutils style show --json` of the factory colour-dependent table
// (255 styles), to /dev/null.
// Subjects, measured in the same run: `style build` of that JSON into a table
// (reading the JSON, checking every member, writing the file), and `style diff`
// of two 255-style tables that differ in every pen. The target is for each to
// take at most 3x the baseline's time (a ratio of at least 0.33 below).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <spawn.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "ratio_reporter.h"

extern char** environ;

namespace {

const std::string kData = DRUTILS_BENCH_DATA;
std::string g_dir;

// Runs the tool with its standard output to out (a file, or /dev/null); its exit status.
int runTool(const std::vector<std::string>& args, const std::string& out = "/dev/null") {
    std::vector<char*> argv;
    argv.push_back(const_cast<char*>(DRUTILS_TOOL));
    for (const auto& a : args)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    pid_t pid = -1;
    int status = -1;
    if (posix_spawn(&pid, DRUTILS_TOOL, &actions, nullptr, argv.data(), environ) == 0)
        waitpid(pid, &status, 0);
    posix_spawn_file_actions_destroy(&actions);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void BM_ShowJson(benchmark::State& state) {
    for (auto _ : state)
        if (runTool({"style", "show", "--json", kData + "/color-dependent-factory.ctb"}) != 0)
            state.SkipWithError("style show --json failed");
}
BENCHMARK(BM_ShowJson)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);

void BM_Build(benchmark::State& state) {
    for (auto _ : state)
        if (runTool({"style", "build", g_dir + "/factory.json", g_dir + "/built.ctb", "--force"}) != 0)
            state.SkipWithError("style build failed");
}
BENCHMARK(BM_Build)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);

void BM_Diff(benchmark::State& state) {
    for (auto _ : state)
        if (runTool({"style", "diff", kData + "/color-dependent-factory.ctb", g_dir + "/changed.ctb"}) != 1)
            state.SkipWithError("style diff found no difference");
}
BENCHMARK(BM_Diff)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5);

} // namespace

int main(int argc, char** argv) {
    char tmpl[] = "/tmp/drutils-bench-XXXXXX";
    if (!mkdtemp(tmpl))
        return 1;
    g_dir = tmpl;
    // The inputs: the factory table's JSON, and a copy of the table with every pen changed.
    const std::string factory = kData + "/color-dependent-factory.ctb";
    if (runTool({"style", "show", "--json", factory}, g_dir + "/factory.json") != 0 ||
        runTool({"style", "build", g_dir + "/factory.json", g_dir + "/changed.ctb"}) != 0 ||
        runTool({"style", "set", g_dir + "/changed.ctb", "*", "screen=50", "lineweight=0.35mm", "color=#336699"}) != 0) {
        std::fprintf(stderr, "cannot prepare the inputs in %s\n", g_dir.c_str());
        return 1;
    }
    benchmark::Initialize(&argc, argv);
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.printRatios({{"BM_Build/real_time", "BM_ShowJson/real_time", "style build vs show --json (target >= 0.33)"},
                          {"BM_Diff/real_time", "BM_ShowJson/real_time", "style diff vs show --json (target >= 0.33)"}});
    benchmark::Shutdown();
    for (const char* f : {"factory.json", "changed.ctb", "built.ctb"})
        std::remove((g_dir + "/" + f).c_str());
    rmdir(g_dir.c_str());
    return 0;
}
