// ut::TaskQueue and ut::Task. Threads are coordinated with gates and counters,
// never with sleeps: a test that waits does so on a condition that a task sets.
#include <gtest/gtest.h>

#include <wx/log.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <numeric>
#include <mutex>
#include <set>
#include <stdexcept>
#include <thread>
#include <vector>

#include "test_support.h"
#include "ut_taskqueue.h"

using testing_support::LogCapture;

namespace {

// A one-way latch: wait() returns once open() has been called.
class Gate {
public:
    void open() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_open = true;
        m_cv.notify_all();
    }
    void wait() {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_cv.wait(lock, [this] { return m_open; });
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_cv;
    bool m_open = false;
};

// What the tasks of one test report: the order they ran in, on which threads,
// and how many were deleted.
struct Journal {
    std::mutex mutex;
    std::vector<int> order;
    std::vector<std::thread::id> threads;
    std::atomic<int> deleted{0};

    void ran(int id) {
        std::lock_guard<std::mutex> lock(mutex);
        order.push_back(id);
        threads.push_back(std::this_thread::get_id());
    }
};

class RecordingTask : public ut::Task {
public:
    RecordingTask(Journal& journal, int id) : m_journal(journal), m_id(id) {}
    ~RecordingTask() override { ++m_journal.deleted; }
    void run(ut::TaskContext&) override { m_journal.ran(m_id); }

private:
    Journal& m_journal;
    int m_id;
};

// Holds its worker until released, so that tests know exactly how many workers
// are running: started() returns once the task is running on its worker.
class BlockingTask : public RecordingTask {
public:
    explicit BlockingTask(Journal& journal, int id = -1) : RecordingTask(journal, id) {}
    void run(ut::TaskContext& context) override {
        RecordingTask::run(context);
        m_started.open();
        m_release.wait();
    }
    void started() { m_started.wait(); }
    void letGo() { m_release.open(); }

private:
    Gate m_started, m_release;
};

std::set<std::thread::id> threadsOf(Journal& j, size_t from, size_t to) {
    std::lock_guard<std::mutex> lock(j.mutex);
    return std::set<std::thread::id>(j.threads.begin() + long(from), j.threads.begin() + long(to));
}

} // namespace

TEST(Task, ReferenceCounts) {
    // References dropped on several threads delete once, and only with the last.
    Journal j;
    auto* shared = new RecordingTask(j, 4);
    const int holders = 8;
    for (int i = 0; i <= holders; ++i)
        shared->addRef();
    std::vector<std::thread> threads;
    for (int i = 0; i < holders; ++i)
        threads.emplace_back([shared] { shared->release(); });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(0, j.deleted.load());
    EXPECT_EQ(1, shared->getRefCount());
    shared->release();
    EXPECT_EQ(1, j.deleted.load());
}

TEST(TaskQueue, OneWorkerRunsTasksInQueueOrder) {
    // 0 and negative maxima mean one worker. Once that worker is busy, the
    // following adds start none, so the tasks run one by one in the order added,
    // all on the same thread.
    for (int maxThreads : {1, 0, -5}) {
        SCOPED_TRACE(maxThreads);
        Journal j;
        ut::TaskQueue queue(maxThreads);
        EXPECT_EQ(1, queue.getMaxThreads());
        auto* first = new BlockingTask(j, -1);
        first->addRef();
        queue.addTask(first);
        first->started();
        for (int i = 0; i < 50; ++i)
            queue.addTask(new RecordingTask(j, i));
        first->letGo();
        queue.waitAllTasks();

        std::vector<int> expected(51);
        std::iota(expected.begin(), expected.end(), -1);
        EXPECT_EQ(expected, j.order);
        EXPECT_EQ(1u, threadsOf(j, 0, j.threads.size()).size());
        EXPECT_EQ(50, j.deleted.load()); // the caller still holds the first one
        first->release();
    }
}

TEST(TaskQueue, RunningWorkersLimitNewOnes) {
    // Four workers, each held by a blocking task and added one at a time so that
    // each add sees the others running and starts exactly one more.
    Journal j;
    ut::TaskQueue queue(4);
    std::vector<BlockingTask*> blockers;
    for (int i = 0; i < 4; ++i) {
        auto* b = new BlockingTask(j, 100 + i);
        b->addRef();
        blockers.push_back(b);
        queue.addTask(b);
        b->started();
    }
    const auto busy = threadsOf(j, 0, 4);
    EXPECT_EQ(4u, busy.size());

    // With no free capacity, adds start no worker: everything added now runs on
    // the four threads that are already there.
    for (int i = 0; i < 40; ++i)
        queue.addTask(new RecordingTask(j, i));
    for (auto* b : blockers)
        b->letGo();
    queue.waitAllTasks();
    ASSERT_EQ(44u, j.order.size());
    for (const auto& id : threadsOf(j, 4, 44))
        EXPECT_TRUE(busy.count(id));
    for (auto* b : blockers)
        b->release();
    EXPECT_EQ(44, j.deleted.load());
}

TEST(TaskQueue, WaitAllTasksAndReleaseByTheWorker) {
    Journal j;
    ut::TaskQueue queue(3);
    // Nothing ever queued: returns at once (a hang would fail the suite by time-out).
    queue.waitAllTasks();

    // A fresh task that the caller does not keep is deleted by the worker's
    // release; one the caller keeps survives with the caller's reference only.
    auto* kept = new RecordingTask(j, 1);
    kept->addRef();
    queue.addTask(new RecordingTask(j, 0));
    queue.addTask(kept);
    queue.waitAllTasks();
    EXPECT_EQ(2u, j.order.size());
    EXPECT_EQ(1, j.deleted.load());
    EXPECT_EQ(1, kept->getRefCount());

    // The same task queued twice runs twice. Workers have ended by now, so the
    // queue must start new ones.
    queue.addTask(kept);
    queue.addTask(kept);
    queue.waitAllTasks();
    EXPECT_EQ(4u, j.order.size());
    EXPECT_EQ(1, kept->getRefCount());
    kept->release();

    // A null task is refused, not queued.
    LogCapture log;
    queue.addTask(nullptr);
    queue.waitAllTasks();
    EXPECT_TRUE(log.contains("null task"));
}

TEST(TaskQueue, DestructionStopsTheQueue) {
    // A running task sees the stop query turn true once the destructor begins and
    // is allowed to finish; pending tasks never run and are released, deleted if
    // nobody else holds them.
    struct Polling {
        std::atomic<bool> cancelledAtStart{true}, finished{false};
        Gate running;
    } state;
    struct PollingTask : ut::Task {
        explicit PollingTask(Polling& s) : s(s) {}
        void run(ut::TaskContext& context) override {
            s.cancelledAtStart = context.isCancelled();
            s.running.open();
            while (!context.isCancelled())
                std::this_thread::yield();
            s.finished = true;
        }
        Polling& s;
    };

    Journal j;
    auto* queue = new ut::TaskQueue(1);
    queue->addTask(new PollingTask(state));
    state.running.wait();
    for (int i = 0; i < 5; ++i)
        queue->addTask(new RecordingTask(j, i));
    auto* kept = new RecordingTask(j, 99);
    kept->addRef();
    queue->addTask(kept);

    delete queue;
    EXPECT_FALSE(state.cancelledAtStart.load());
    EXPECT_TRUE(state.finished.load()); // the destructor waited for it
    EXPECT_TRUE(j.order.empty());
    EXPECT_EQ(5, j.deleted.load());
    EXPECT_EQ(1, kept->getRefCount());
    kept->release();
}

TEST(TaskQueue, MisbehavingTasks) {
    LogCapture log;
    Journal j;
    // A throwing task is logged and abandoned; the worker goes on and waiting ends.
    struct ThrowingTask : ut::Task {
        void run(ut::TaskContext&) override { throw std::runtime_error("disk on fire"); }
    };
    {
        ut::TaskQueue queue(1);
        queue.addTask(new ThrowingTask);
        queue.addTask(new RecordingTask(j, 1));
        queue.waitAllTasks();
        EXPECT_EQ((std::vector<int>{1}), j.order);
    }
    wxLog::FlushActive(); // records from worker threads are delivered on this one
    EXPECT_TRUE(log.contains("disk on fire"));

    // A task that waits for its own queue would wait for itself: it returns at
    // once. A task that destroys its own queue waits for the other workers only;
    // pending tasks are released, not run.
    struct Shared {
        ut::TaskQueue* queue = nullptr;
        Gate done;
        std::atomic<bool> destroyed{false};
    } shared;
    struct SelfDestroyingTask : ut::Task {
        explicit SelfDestroyingTask(Shared& s) : s(s) {}
        void run(ut::TaskContext& context) override {
            s.queue->waitAllTasks();
            delete s.queue;
            s.destroyed = context.isCancelled();
            s.done.open();
        }
        Shared& s;
    };
    Journal pending;
    shared.queue = new ut::TaskQueue(1);
    auto* self = new SelfDestroyingTask(shared);
    // The single worker is held until the pending tasks are queued behind it.
    auto* first = new BlockingTask(pending);
    first->addRef();
    shared.queue->addTask(first);
    first->started();
    shared.queue->addTask(self);
    for (int i = 0; i < 3; ++i)
        shared.queue->addTask(new RecordingTask(pending, i));
    first->letGo();
    shared.done.wait();
    EXPECT_TRUE(shared.destroyed.load());
    EXPECT_EQ(3, pending.deleted.load());
    EXPECT_EQ((std::vector<int>{-1}), pending.order);
    wxLog::FlushActive();
    EXPECT_TRUE(log.contains("would wait for itself"));
    first->release();
}

TEST(TaskQueue, StressManyProducersAndShortLivedQueues) {
    // Every task runs exactly once, however many threads add at once.
    const int producers = 4, perProducer = 1500, total = producers * perProducer;
    {
        Journal j;
        ut::TaskQueue queue(3);
        std::vector<std::thread> threads;
        for (int p = 0; p < producers; ++p)
            threads.emplace_back([&, p] {
                for (int i = 0; i < perProducer; ++i) {
                    queue.addTask(new RecordingTask(j, p * perProducer + i));
                    if (i % 500 == 0)
                        queue.waitAllTasks(); // waiting while others add must not hang
                }
            });
        for (auto& t : threads)
            t.join();
        queue.waitAllTasks();
        EXPECT_EQ(total, j.deleted.load());
        std::sort(j.order.begin(), j.order.end());
        ASSERT_EQ(size_t(total), j.order.size());
        for (int i = 0; i < total; ++i)
            ASSERT_EQ(i, j.order[size_t(i)]);
    }

    // Queues destroyed while their tasks are still being added and run: each task
    // runs at most once, and by the time the destructor returns every task has
    // been released, run or not.
    const int rounds = 150, perRound = 12;
    Journal j;
    for (int r = 0; r < rounds; ++r) {
        {
            ut::TaskQueue queue(1 + r % 4);
            std::thread helper([&] {
                for (int i = 0; i < perRound / 2; ++i)
                    queue.addTask(new RecordingTask(j, r * perRound + i));
            });
            for (int i = perRound / 2; i < perRound; ++i)
                queue.addTask(new RecordingTask(j, r * perRound + i));
            helper.join();
        }
        ASSERT_EQ((r + 1) * perRound, j.deleted.load()) << "round " << r;
    }
    std::sort(j.order.begin(), j.order.end());
    EXPECT_EQ(j.order.end(), std::adjacent_find(j.order.begin(), j.order.end()));
}
