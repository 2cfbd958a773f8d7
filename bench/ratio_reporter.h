// A console reporter that also remembers each benchmark's time per iteration, so
// that a program can print its subject against its baseline from the same run.
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace bench {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    struct Pair {
        std::string subject, baseline, label;
    };

    void ReportRuns(const std::vector<Run>& runs) override {
        benchmark::ConsoleReporter::ReportRuns(runs);
        for (const auto& run : runs) {
            // With repetitions the median stands for the benchmark (a busy machine
            // only ever makes runs slower, which drags the mean); otherwise the run.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median")
                continue;
            std::string name = run.run_name.str();
            // Named without the repetition count, so that callers need not know it.
            if (auto at = name.find("/repeats:"); at != std::string::npos) {
                auto end = name.find('/', at + 1);
                name.erase(at, end == std::string::npos ? std::string::npos : end - at);
            }
            m_seconds[name] = run.GetAdjustedRealTime() * timeUnitSeconds(run.time_unit);
        }
    }

    // "baseline time / subject time": above 1 means the subject is faster.
    void printRatios(const std::vector<Pair>& pairs) const {
        std::printf("\nratios (baseline time / subject time, above 1 = subject faster):\n");
        for (const auto& p : pairs) {
            auto s = m_seconds.find(p.subject), b = m_seconds.find(p.baseline);
            if (s == m_seconds.end() || b == m_seconds.end() || s->second <= 0)
                continue;
            std::printf("  %-40s %6.2f  (%s vs %s)\n", p.label.c_str(), b->second / s->second,
                        p.subject.c_str(), p.baseline.c_str());
        }
    }

    double seconds(const std::string& name) const {
        auto it = m_seconds.find(name);
        return it == m_seconds.end() ? 0 : it->second;
    }

private:
    static double timeUnitSeconds(benchmark::TimeUnit unit) {
        switch (unit) {
        case benchmark::kNanosecond: return 1e-9;
        case benchmark::kMicrosecond: return 1e-6;
        case benchmark::kMillisecond: return 1e-3;
        default: return 1;
        }
    }
    std::map<std::string, double> m_seconds;
};

} // namespace bench
