// Start-up of the plot style editor: the time from starting the process to the
// window showing a table of 255 styles (the editor's --startup-report prints
// "shown" once the table's grid has been painted, and quits). Each run is a new
// process, so the time includes loading the toolkit; the first run also fills
// the system's file caches and is reported apart. Target: under 500 ms.
//
// Needs a display: run it under tests/editor/under_xvfb.sh (see the README).
// usage: bench_editor_startup [EDITOR [TABLE [RUNS]]]
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace {

// Milliseconds until the editor said "shown"; negative when it did not.
double oneRun(const std::string& editor, const std::string& table) {
    int out[2];
    if (pipe(out) != 0)
        return -1;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, out[0]);
    std::string flag = "--startup-report";
    char* argv[] = {const_cast<char*>(editor.c_str()), flag.data(), const_cast<char*>(table.c_str()), nullptr};
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    const int spawned = posix_spawn(&pid, editor.c_str(), &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    if (spawned != 0) {
        close(out[0]);
        return -1;
    }
    std::string said;
    char buf[256];
    double ms = -1;
    for (ssize_t n; (n = read(out[0], buf, sizeof buf)) > 0;) {
        said.append(buf, size_t(n));
        if (said.find("shown\n") != std::string::npos) {
            ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
            break;
        }
    }
    close(out[0]);
    int status = 0;
    waitpid(pid, &status, 0);
    return ms;
}

} // namespace

int main(int argc, char** argv) {
    const std::string editor = argc > 1 ? argv[1] : DRUTILS_STYLES_EDITOR;
    const std::string table = argc > 2 ? argv[2] : std::string(DRUTILS_BENCH_DATA) + "/color-dependent-factory.ctb";
    const int runs = argc > 3 ? std::max(1, std::atoi(argv[3])) : 15;
    if (!std::getenv("DISPLAY")) {
        std::fputs("bench_editor_startup: no DISPLAY; run it under tests/editor/under_xvfb.sh\n", stderr);
        return 2;
    }
    const double first = oneRun(editor, table);
    if (first < 0) {
        std::fprintf(stderr, "bench_editor_startup: %s did not show %s\n", editor.c_str(), table.c_str());
        return 1;
    }
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const double ms = oneRun(editor, table);
        if (ms < 0) {
            std::fprintf(stderr, "bench_editor_startup: run %d failed\n", i + 1);
            return 1;
        }
        times.push_back(ms);
    }
    std::sort(times.begin(), times.end());
    const double median = times[times.size() / 2];
    std::printf("editor start-up to a shown table (%s)\n", table.c_str());
    std::printf("  first run:  %7.1f ms (file caches filled)\n", first);
    std::printf("  %d runs:    min %.1f ms, median %.1f ms, max %.1f ms\n", runs, times.front(), median,
                times.back());
    std::printf("  target 500 ms: %s\n", median < 500 ? "met" : "MISSED");
    return 0;
}
