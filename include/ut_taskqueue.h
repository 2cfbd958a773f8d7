// Work items run by a small pool of worker threads that a queue starts on demand.
//
// A caller derives its work from ut::Task, hands tasks to ut::TaskQueue::addTask and
// may block in waitAllTasks until everything queued has run. Workers are detached
// threads: the queue starts them when tasks arrive and they end by themselves as
// soon as they find the queue empty, so an idle queue holds no thread at all.
// Destroying the queue stops it: running tasks finish (they can poll
// TaskContext::isCancelled to finish early), pending tasks never run and are
// released.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "drutils_export.h"

namespace ut {

// What a running task may ask of the worker that runs it.
class DRUTILS_API TaskContext {
public:
    TaskContext() = default;
    TaskContext(const TaskContext&) = default;
    TaskContext& operator=(const TaskContext&) = default;
    virtual ~TaskContext();

    // True once the queue running the task has begun to be destroyed. A long task
    // polls it and returns early; nothing else interrupts a task.
    virtual bool isCancelled() const = 0;
};

// A unit of work shared by intrusive reference counts. A new task has a count of
// 0; the queue takes a reference of its own while the task is pending or running,
// so a caller may hand over a fresh task and forget it (the worker's release then
// deletes it), or addRef first and release when it no longer needs the task.
// Tasks must therefore be allocated with new.
class DRUTILS_API Task {
public:
    Task() = default;
    // Copies the source's current reference count, not 0: a copy made of a queued
    // task starts with references that no holder owns. Copy tasks only before they
    // are shared, and balance the count yourself when you do.
    Task(const Task& other);
    // Keeps this task's own count: assigning the work of another task over a shared
    // one must not change how many holders it has.
    Task& operator=(const Task& other);
    virtual ~Task();

    // The work, called once per time the task was queued, on a worker thread.
    // Should not throw; if it does, the worker logs the failure, drops its
    // reference to the task and goes on with the next one, so the queue and its
    // waiters are not left hanging.
    virtual void run(TaskContext& context) = 0;

    void addRef();
    // Deletes the task when this drops the last reference. Whichever thread drops
    // it last does the delete.
    void release();
    // The current count, for diagnostics: another thread may change it at once.
    int32_t getRefCount() const;

private:
    std::atomic<int32_t> m_refCount{0};
};

// A queue of tasks run in the order they were added by up to maxThreads workers
// at once (for a moment more: a worker counts itself only when its thread has
// begun, so adds in quick succession can each start workers against the same free
// capacity). Completion order is not defined when several workers run.
//
// If a worker thread cannot be created or started, the queue neither retries nor
// reports it; the task stays pending for the next worker that an addTask starts.
class DRUTILS_API TaskQueue {
public:
    // maxThreads below 1 is taken as 1. No thread is started yet.
    explicit TaskQueue(int maxThreads);
    // Stops the queue: no worker takes another task; waits until the tasks already
    // running have returned and every worker thread is done with the queue;
    // releases the tasks that never ran (deleting those that nobody else holds).
    // Destroying the queue from inside one of its own tasks is allowed: it then
    // waits for the other workers only, and the calling worker frees what is left
    // of the queue when its task returns.
    ~TaskQueue();
    TaskQueue(const TaskQueue&) = delete;
    TaskQueue& operator=(const TaskQueue&) = delete;

    // Queues the task (taking a reference of its own) and starts workers as needed.
    // Never waits for work. A null task is ignored. A task that a running task
    // adds while the queue is being destroyed never runs: the destructor releases
    // it with the other pending ones.
    void addTask(Task* task);

    // Returns when no worker is running and nothing is pending. Called from a task
    // of this same queue it logs a warning and returns at once, since it would wait
    // for its own task.
    void waitAllTasks();

    // The maximum given to the constructor, raised to 1 if it was lower.
    int getMaxThreads() const;

    // The state shared with the workers; defined with the queue's code.
    struct Impl;

private:
    std::shared_ptr<Impl> m_pImpl;
};

} // namespace ut
