// Work on one of the pools, counted so that its owner, shutting down, can
// wait until all of it has ended: the indexer's work on the utility pool, the
// meetings' reads on the userInitiated pool.
#pragma once

#include "core/Tasks.h"

#include <condition_variable>
#include <functional>
#include <mutex>

class CountedTasks
{
public:
    explicit CountedTasks(Tasks::Priority priority = Tasks::Priority::Utility)
        : m_priority(priority)
    {
    }
    CountedTasks(const CountedTasks &) = delete;
    CountedTasks &operator=(const CountedTasks &) = delete;

    // Runs work on the pool of the priority given at construction. The work
    // runs even when the token is already cancelled, and polls it itself.
    void launch(std::function<void(const CancellationToken &)> work, const CancellationToken &token);
    // Waits until every launched task has ended. No task waits for the
    // caller, so this can't deadlock.
    void waitForAll();

private:
    void ended();

    const Tasks::Priority m_priority;
    std::mutex m_lock;
    std::condition_variable m_allEnded;
    int m_running = 0;
};
