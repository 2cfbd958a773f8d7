// 100,000 small tasks through ut::TaskQueue(2) and ut::TaskQueue(8) against the
// baseline: a plain pool of two std::threads over a mutex-guarded deque with a
// condition variable. Each batch is timed from the first add until every task has
// run, including starting and stopping the threads, for both.
#include <benchmark/benchmark.h>

#include <wx/init.h>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ratio_reporter.h"
#include "ut_taskqueue.h"

namespace {

constexpr int kTasks = 100000;

// Arithmetic of `steps` dependent multiply-adds: 16 steps take some 20 ns, so the
// queue's own costs dominate; 1024 steps, about a microsecond, is a short job.
class SmallTask : public ut::Task {
public:
    SmallTask(uint64_t seed, int steps) : m_value(seed), m_steps(steps) {}
    void run(ut::TaskContext&) override {
        uint64_t x = m_value;
        for (int i = 0; i < m_steps; ++i)
            x = x * 6364136223846793005u + 1442695040888963407u;
        m_value = x;
        benchmark::DoNotOptimize(m_value);
    }

private:
    uint64_t m_value;
    int m_steps;
};

class NoContext : public ut::TaskContext {
public:
    bool isCancelled() const override { return false; }
};

class PlainPool {
public:
    explicit PlainPool(int threads) {
        for (int i = 0; i < threads; ++i)
            m_threads.emplace_back([this] { work(); });
    }
    ~PlainPool() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_stop = true;
        }
        m_wake.notify_all();
        for (auto& t : m_threads)
            t.join();
    }
    void add(ut::Task* task) {
        task->addRef();
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_pending.push_back(task);
        }
        m_wake.notify_one();
    }
    void waitAll() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_idle.wait(lock, [this] { return m_pending.empty() && m_active == 0; });
    }

private:
    void work() {
        NoContext context;
        std::unique_lock<std::mutex> lock(m_mutex);
        for (;;) {
            m_wake.wait(lock, [this] { return m_stop || !m_pending.empty(); });
            if (m_pending.empty())
                return;
            ut::Task* task = m_pending.front();
            m_pending.pop_front();
            ++m_active;
            lock.unlock();
            task->run(context);
            task->release();
            lock.lock();
            if (--m_active == 0 && m_pending.empty())
                m_idle.notify_all();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_wake, m_idle;
    std::deque<ut::Task*> m_pending;
    int m_active = 0;
    bool m_stop = false;
    std::vector<std::thread> m_threads;
};

void BM_TaskQueue(benchmark::State& state) {
    const int threads = static_cast<int>(state.range(0)), steps = static_cast<int>(state.range(1));
    for (auto _ : state) {
        ut::TaskQueue queue(threads);
        for (int i = 0; i < kTasks; ++i)
            queue.addTask(new SmallTask(uint64_t(i), steps));
        queue.waitAllTasks();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kTasks);
}

void BM_PlainPool2(benchmark::State& state) {
    const int steps = static_cast<int>(state.range(0));
    for (auto _ : state) {
        PlainPool pool(2);
        for (int i = 0; i < kTasks; ++i)
            pool.add(new SmallTask(uint64_t(i), steps));
        pool.waitAll();
    }
    state.SetItemsProcessed(int64_t(state.iterations()) * kTasks);
}

// Repeated, and compared by their medians: the machines this runs on are shared.
BENCHMARK(BM_TaskQueue)
    ->ArgsProduct({{2, 8}, {16, 1024}})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);
BENCHMARK(BM_PlainPool2)
    ->Arg(16)
    ->Arg(1024)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Repetitions(5)
    ->ReportAggregatesOnly(true);

} // namespace

int main(int argc, char** argv) {
    // Set up as in the application: a worker reports a failing task through the
    // toolkit's log.
    wxInitializer wx;
    if (!wx.IsOk())
        return 1;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    bench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    std::vector<bench::RatioReporter::Pair> pairs;
    for (const char* steps : {"16", "1024"})
        for (const char* threads : {"2", "8"})
            pairs.push_back({std::string("BM_TaskQueue/") + threads + "/" + steps + "/real_time",
                             std::string("BM_PlainPool2/") + steps + "/real_time",
                             std::string("TaskQueue(") + threads + ") vs plain pool, " + steps + " steps"});
    reporter.printRatios(pairs);
    std::printf("\ntasks per second (medians):\n");
    for (const auto& p : pairs)
        for (const auto& name : {p.subject, p.baseline})
            if (double s = reporter.seconds(name); s > 0)
                std::printf("  %-34s %12.0f\n", name.c_str(), kTasks / s);
    benchmark::Shutdown();
    return 0;
}
