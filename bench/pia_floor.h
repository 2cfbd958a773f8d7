// Shared by the parameter-file benchmarks: the physical floor of loading a
// container (the file into memory, its stream inflated in one call to the length
// the header records, the lines counted), a reporter that keeps the best time
// of each benchmark over its repetitions, and ezdxf's reader timed on a file.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>
#include <zlib.h>

namespace bench {

inline std::string readBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// The text inside the container at path (empty when unreadable).
inline std::string inflateText(const std::string& path) {
    const std::string file = readBytes(path);
    if (file.size() < 60)
        return std::string();
    uLongf size = 0;
    for (int i = 55; i >= 52; --i)
        size = (size << 8) | static_cast<unsigned char>(file[size_t(i)]);
    std::string text(size, '\0');
    if (uncompress(reinterpret_cast<Bytef*>(text.data()), &size, reinterpret_cast<const Bytef*>(file.data()) + 60,
                   uLong(file.size() - 60)) != Z_OK)
        return std::string();
    text.resize(size);
    return text;
}

// Number of lines of the text inside the container at path (0 when unreadable).
inline size_t loadFloor(const std::string& path) {
    const std::string text = inflateText(path);
    return size_t(std::count(text.begin(), text.end(), '\n'));
}

// Keeps, per benchmark, the best real and CPU time per iteration over the
// repetitions: the machine these run on is shared, and the minimum is the
// figure least disturbed by other work.
class BestOfReporter : public benchmark::ConsoleReporter {
public:
    struct Best {
        double real = -1, cpu = -1;
    };
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& r : runs) {
            if (r.error_occurred || r.iterations <= 0 || r.run_type != Run::RT_Iteration)
                continue;
            Best& b = m_best[r.run_name.function_name];
            const double real = r.real_accumulated_time / double(r.iterations);
            const double cpu = r.cpu_accumulated_time / double(r.iterations);
            b.real = b.real < 0 ? real : std::min(b.real, real);
            b.cpu = b.cpu < 0 ? cpu : std::min(b.cpu, cpu);
        }
        ConsoleReporter::ReportRuns(runs);
    }
    Best best(const std::string& name) const {
        auto it = m_best.find(name);
        return it == m_best.end() ? Best{} : it->second;
    }

private:
    std::map<std::string, Best> m_best;
};

// Runs the benchmarks asked for on the command line, five repetitions unless the
// command line says otherwise, reporting to reporter.
inline void runRepeated(int argc, char** argv, BestOfReporter& reporter) {
    std::vector<char*> args(argv, argv + argc);
    std::string repetitions = "--benchmark_repetitions=5";
    bool given = false;
    for (int i = 1; i < argc; ++i)
        given = given || std::string(argv[i]).rfind("--benchmark_repetitions", 0) == 0;
    if (!given)
        args.push_back(repetitions.data());
    int count = int(args.size());
    benchmark::Initialize(&count, args.data());
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
}

// Seconds per load of the plot style table at path with ezdxf (Debian's
// python3-ezdxf under /usr/bin/python3), best of three rounds of `loads` loads
// timed inside the interpreter so that its start does not count; why says what
// went wrong when it cannot be run (the values are then negative).
inline BestOfReporter::Best ezdxfSeconds(const std::string& path, int loads, std::string& why) {
    const std::string cmd = "/usr/bin/python3 -c '"
                            "import sys, time\n"
                            "from ezdxf.addons import acadctb\n"
                            "path, n = sys.argv[1], int(sys.argv[2])\n"
                            "acadctb.load(path)\n"
                            "wall, cpu = [], []\n"
                            "for r in range(3):\n"
                            "    w, c = time.perf_counter(), time.process_time()\n"
                            "    for i in range(n): acadctb.load(path)\n"
                            "    wall.append((time.perf_counter() - w) / n)\n"
                            "    cpu.append((time.process_time() - c) / n)\n"
                            "print(min(wall), min(cpu))\n"
                            "' '" +
                            path + "' " + std::to_string(loads) + " 2>&1";
    BestOfReporter::Best s;
    FILE* p = popen(cmd.c_str(), "r");
    if (!p) {
        why = "cannot start /usr/bin/python3";
        return s;
    }
    std::string out;
    char buf[512];
    while (std::fgets(buf, sizeof buf, p))
        out += buf;
    const int status = pclose(p);
    if (status != 0 || std::sscanf(out.c_str(), "%lf %lf", &s.real, &s.cpu) != 2) {
        s = {};
        why = out.empty() ? "/usr/bin/python3 failed" : out.substr(0, out.find('\n'));
    }
    return s;
}

} // namespace bench
