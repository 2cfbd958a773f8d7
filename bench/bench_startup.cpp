// Start-up of the drutils tool: whole processes, started and waited for, against
// `sqlite3 :memory: 'select 1'`, a small program that opens a database and answers
// one query (the floor of what a settings command does), in the same run:
//   name check:  drutils name check abc
//   style show:  drutils style show of the factory table (color-dependent-factory.ctb)
//   config get:  drutils config get of one value, on a store of its own
//                (DRUTILS_REGISTRY_DB)
// With --before=TOOL, the same commands of another build of the tool (one from
// before the libraries were split, say) run in the same run as well.
// Prints each ratio (baseline time / subject time) and the times against the
// targets: name check and config get within 2x of sqlite3 and under 10 ms each,
// style show under 15 ms.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ratio_reporter.h"

extern char** environ;

namespace {

using Command = std::vector<std::string>;

// Runs command with its output thrown away; false when it could not be started or
// did not exit 0.
bool run(const Command& command) {
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&files, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
    std::vector<char*> argv;
    for (const std::string& a : command)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    pid_t pid = 0;
    const int rc = posix_spawn(&pid, argv[0], &files, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    return rc == 0 && waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

void BM_Process(benchmark::State& state, Command command) {
    for (auto _ : state) {
        if (!run(command)) {
            state.SkipWithError(("failed: " + command[0] + " " + command[1]).c_str());
            break;
        }
    }
}

// The tool's three commands, of the tool at path.
std::vector<std::pair<std::string, Command>> toolCommands(const std::string& path) {
    return {{"name check", {path, "name", "check", "abc"}},
            {"style show", {path, "style", "show", DRUTILS_BENCH_DATA "/color-dependent-factory.ctb"}},
            {"config get", {path, "config", "get", "Setup", "BenchValue"}}};
}

// The reporter's name of a benchmark: repeated and timed by the clock, compared by
// medians, as the machines this runs on are shared.
std::string key(const std::string& name) { return name + "/real_time"; }

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    std::string before;
    for (int i = 1; i < argc; ++i)
        if (std::strncmp(argv[i], "--before=", 9) == 0)
            before = argv[i] + 9;

    char dirTemplate[] = "/tmp/drutils-bench-XXXXXX";
    if (!mkdtemp(dirTemplate))
        return 1;
    const std::string dir = dirTemplate;
    ::setenv("DRUTILS_REGISTRY_DB", (dir + "/registry.db").c_str(), 1);
    if (!run({DRUTILS_BENCH_TOOL, "config", "set", "Setup", "BenchValue", "42"})) {
        std::fprintf(stderr, "bench_startup: cannot write the value that config get reads\n");
        return 1;
    }

    bench::RatioReporter reporter;
    auto add = [](const std::string& name, const Command& command) {
        benchmark::RegisterBenchmark(name.c_str(), BM_Process, command)
            ->Unit(benchmark::kMillisecond)
            ->UseRealTime()
            ->Repetitions(5)
            ->ReportAggregatesOnly(true);
    };
    add("sqlite3", {DRUTILS_BENCH_SQLITE3, ":memory:", "select 1"});
    for (const auto& [name, command] : toolCommands(DRUTILS_BENCH_TOOL))
        add(name, command);
    if (!before.empty())
        for (const auto& [name, command] : toolCommands(before))
            add("before/" + name, command);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::vector<bench::RatioReporter::Pair> pairs;
    for (const auto& [name, command] : toolCommands(DRUTILS_BENCH_TOOL))
        pairs.push_back({key(name), key("sqlite3"), "drutils " + name + " vs sqlite3"});
    if (!before.empty()) {
        for (const auto& [name, command] : toolCommands(before))
            pairs.push_back({key("before/" + name), key("sqlite3"), "before: drutils " + name + " vs sqlite3"});
        for (const auto& [name, command] : toolCommands(before))
            pairs.push_back({key(name), key("before/" + name), "drutils " + name + " vs before"});
    }
    reporter.printRatios(pairs);

    const double sqlite = reporter.seconds(key("sqlite3")) * 1e3;
    std::printf("\ntargets (sqlite3: %.2f ms):\n", sqlite);
    auto line = [&](const std::string& name, const char* target) {
        const double ms = reporter.seconds(key(name)) * 1e3;
        std::printf("  %-20s %7.2f ms  %5.2fx sqlite3   (%s)\n", name.c_str(), ms, sqlite > 0 ? ms / sqlite : 0.0,
                    target);
    };
    line("name check", "within 2x of sqlite3, under 10 ms");
    line("style show", "under 15 ms");
    line("config get", "within 2x of sqlite3, under 10 ms");
    if (!before.empty()) {
        line("before/name check", "before the split");
        line("before/style show", "before the split");
        line("before/config get", "before the split");
    }

    const std::string cleanup = "rm -rf '" + dir + "'";
    return std::system(cleanup.c_str()) == 0 ? 0 : 1;
}
