#include "ut_taskqueue.h"

#include <cxxabi.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

#include "ut_log.h"

namespace ut {

namespace {

const char kFile[] = "src/utils/ut_taskqueue";

// A waiter re-checks the counts at least this often, so that a worker which could
// not be started, or a wake-up that went astray, costs a delay and never a hang.
const std::chrono::milliseconds kRecheck{1000};

} // namespace

// The queue and its workers share this object. A worker still touches it after the
// last point the queue's destructor waits for (it reports its end, leaves the
// mutex, and only then drops its reference), and a task that destroys its own
// queue goes on running on a worker of that queue; each worker therefore holds a
// reference, and whoever drops the last one destroys the locks. Nothing is
// destroyed while a thread can still reach it.
struct TaskQueue::Impl {
    explicit Impl(int maxThreads) : maxThreads(maxThreads < 1 ? 1 : maxThreads) {}
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    ~Impl() {
        // The queue's destructor has emptied the list and no task ran after that
        // to add another; kept so that a task could never be leaked.
        for (Task* task : pending)
            task->release();
    }

    // Guards the pending list, the decision how many workers to start and the
    // workers' take-or-leave step. Never entered recursively.
    std::mutex section;
    const int maxThreads;
    // Read without the section by waiters, the destructor and isCancelled.
    std::atomic<int32_t> running{0};
    std::atomic<int32_t> stopped{0};
    // Wakes waitAllTasks and the destructor. The counts they wait on are read
    // while this mutex is held and the workers broadcast while holding it, so a
    // broadcast cannot slip in between a waiter's check and its wait.
    std::mutex mutex;
    std::condition_variable condition;
    // Each entry holds one reference to its task.
    std::deque<Task*> pending;
    // pending.size(), kept beside the list (under the section) so that waiters can
    // read it without entering the section while they hold the mutex: the workers
    // take the two in the other order.
    std::atomic<int32_t> pendingCount{0};
    // Worker threads made and not yet finished with the queue. The running count
    // misses a worker twice: before its thread has begun (it counts itself in
    // only then) and after it has counted itself out but is still on its way
    // out. The destructor waits for this count as well, so that once it returns
    // every thread of the queue has done all it had to do with it.
    std::atomic<int32_t> threads{0};

    // The take-or-leave step of a worker: the next task with one reference for the
    // worker, or null, in which case the worker has already counted itself out.
    Task* takeNext();
    // Waits, at most kRecheck at a time, until done() holds; done() is evaluated
    // with the mutex held.
    template <class Done> void waitUntil(Done done);
    // A worker thread has finished with the queue, or failed to start.
    void threadEnded();
};

namespace {

// The worker that runs a task, seen by the task through TaskContext; null on
// threads that are not running a task of any queue.
thread_local const TaskQueue::Impl* t_currentQueue = nullptr;

// What a worker thread runs. The thread owns it and destroys it once run has
// returned, so a detached worker needs nobody to delete it; its reference keeps
// the shared state alive until then.
class TaskThread final : public TaskContext {
public:
    explicit TaskThread(std::shared_ptr<TaskQueue::Impl> queue) : m_queue(std::move(queue)) {}

    bool isCancelled() const override { return m_queue->stopped.load() != 0; }

    void run();

private:
    std::shared_ptr<TaskQueue::Impl> m_queue;
};

// A throwing task must not take the worker with it: the exception would end the
// process (nothing above the thread function may let it pass), and even if it
// did not, the running count would never come down and every waiter would wait
// for ever.
void runCaught(Task& task, TaskContext& context) {
    try {
        task.run(context);
    } catch (abi::__forced_unwind&) {
        throw; // thread cancellation must unwind to the end, never be swallowed
    } catch (const std::exception& e) {
        logError(kFile, "ut::TaskThread::run", "a task failed with an exception and was abandoned: %s", e.what());
    } catch (...) {
        logError(kFile, "ut::TaskThread::run", "a task failed with an unknown exception and was abandoned");
    }
}

void TaskThread::run() {
    TaskQueue::Impl& queue = *m_queue;
    // Counted only now, not when the thread was made (see addTask).
    queue.running.fetch_add(1);
    t_currentQueue = &queue;
    while (Task* task = queue.takeNext()) {
        runCaught(*task, *this);
        task->release();
    }
    t_currentQueue = nullptr;
    queue.threadEnded();
}

// Creation may fail (no memory, thread limit); the task stays pending for a later
// worker, and waiters keep re-checking.
void startWorker(const std::shared_ptr<TaskQueue::Impl>& queue) {
    queue->threads.fetch_add(1);
    try {
        std::thread([worker = TaskThread(queue)]() mutable { worker.run(); }).detach();
    } catch (const std::system_error&) {
        queue->threadEnded();
    } catch (const std::bad_alloc&) {
        queue->threadEnded();
    }
}

} // namespace

Task* TaskQueue::Impl::takeNext() {
    std::lock_guard<std::mutex> lock(section);
    if (!pending.empty() && stopped.load() == 0) {
        // The list's reference becomes the worker's.
        Task* task = pending.front();
        pending.pop_front();
        pendingCount.store(static_cast<int32_t>(pending.size()));
        return task;
    }
    // Leaving in the same locked step that saw the list empty: an addTask after
    // this sees the smaller count and starts a worker of its own.
    running.fetch_sub(1);
    std::lock_guard<std::mutex> wake(mutex);
    condition.notify_all();
    return nullptr;
}

template <class Done> void TaskQueue::Impl::waitUntil(Done done) {
    std::unique_lock<std::mutex> lock(mutex);
    while (!done())
        condition.wait_for(lock, kRecheck);
}

void TaskQueue::Impl::threadEnded() {
    threads.fetch_sub(1);
    std::lock_guard<std::mutex> wake(mutex);
    condition.notify_all();
}

TaskContext::~TaskContext() = default;

Task::Task(const Task& other) : m_refCount(other.m_refCount.load()) {}

Task& Task::operator=(const Task&) { return *this; }

Task::~Task() = default;

void Task::addRef() { m_refCount.fetch_add(1, std::memory_order_relaxed); }

void Task::release() {
    // acq_rel: the deleting thread must see every write made through the other
    // references before they were dropped.
    if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
        delete this;
}

int32_t Task::getRefCount() const { return m_refCount.load(); }

TaskQueue::TaskQueue(int maxThreads) : m_pImpl(std::make_shared<Impl>(maxThreads)) {}

TaskQueue::~TaskQueue() {
    Impl& queue = *m_pImpl;
    queue.stopped.exchange(1);
    // A task may destroy its own queue; its worker is then one of the running
    // ones and cannot be waited for. It frees the shared state when it ends.
    const int32_t self = t_currentQueue == &queue ? 1 : 0;
    queue.waitUntil([&] { return queue.running.load() <= self && queue.threads.load() <= self; });

    std::deque<Task*> neverRun;
    {
        std::lock_guard<std::mutex> lock(queue.section);
        neverRun.swap(queue.pending);
        queue.pendingCount.store(0);
    }
    // Outside the section: a task's destructor may do anything, even use a queue.
    for (Task* task : neverRun)
        task->release();
}

void TaskQueue::addTask(Task* task) {
    if (!task) {
        logWarning(kFile, "ut::TaskQueue::addTask", "a null task was not queued");
        return;
    }
    Impl& queue = *m_pImpl;
    std::lock_guard<std::mutex> lock(queue.section);
    // The temporary reference is held while the entry is made. Should that fail,
    // dropping it deletes a task that nobody else holds, unrun.
    task->addRef();
    try {
        queue.pending.push_back(task);
    } catch (const std::bad_alloc&) {
        task->release();
        logError(kFile, "ut::TaskQueue::addTask", "out of memory: a task was dropped");
        return;
    }
    task->addRef(); // the entry's own reference
    queue.pendingCount.store(static_cast<int32_t>(queue.pending.size()));
    task->release();

    // Workers that have been created but not yet begun are not in the running
    // count, so several adds in a row may start more workers than the maximum;
    // the surplus finds the list empty and ends at once.
    const int pendingTasks = static_cast<int>(queue.pending.size());
    const int freeCapacity = queue.maxThreads - queue.running.load();
    const int toStart = pendingTasks >= freeCapacity ? freeCapacity : pendingTasks;
    for (int i = 0; i < toStart; ++i)
        startWorker(m_pImpl);
}

void TaskQueue::waitAllTasks() {
    Impl& queue = *m_pImpl;
    if (t_currentQueue == &queue) {
        logWarning(kFile, "ut::TaskQueue::waitAllTasks",
                   "called from a task of the same queue, which would wait for itself; not waiting");
        return;
    }
    queue.waitUntil([&] { return queue.running.load() <= 0 && queue.pendingCount.load() <= 0; });
}

int TaskQueue::getMaxThreads() const { return m_pImpl->maxThreads; }

} // namespace ut
