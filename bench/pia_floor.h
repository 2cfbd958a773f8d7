// Shared by the parameter-file benchmarks: the physical floor of loading a
// container (the file into memory, its stream inflated in one call to the length
// the header records, the lines counted), and a reporter that keeps the best time
// of each benchmark over its repetitions.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
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

// Number of lines of the text inside the container at path (0 when unreadable).
inline size_t loadFloor(const std::string& path) {
    const std::string file = readBytes(path);
    if (file.size() < 60)
        return 0;
    uLongf size = 0;
    for (int i = 55; i >= 52; --i)
        size = (size << 8) | static_cast<unsigned char>(file[size_t(i)]);
    std::string text(size, '\0');
    uncompress(reinterpret_cast<Bytef*>(text.data()), &size, reinterpret_cast<const Bytef*>(file.data()) + 60,
               uLong(file.size() - 60));
    return size_t(std::count(text.begin(), text.begin() + long(size), '\n'));
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

} // namespace bench
