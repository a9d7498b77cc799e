// The indexer's work on the utility pool, counted so that shutting down can
// wait until all of it has ended.
#pragma once

#include "core/Tasks.h"

#include <condition_variable>
#include <functional>
#include <mutex>

class CountedTasks
{
public:
    CountedTasks() = default;
    CountedTasks(const CountedTasks &) = delete;
    CountedTasks &operator=(const CountedTasks &) = delete;

    // Runs work on the utility pool. The work runs even when the token is
    // already cancelled, and polls it itself.
    void launch(std::function<void(const CancellationToken &)> work, const CancellationToken &token);
    // Waits until every launched task has ended. No task waits for the
    // caller, so this can't deadlock.
    void waitForAll();

private:
    void ended();

    std::mutex m_lock;
    std::condition_variable m_allEnded;
    int m_running = 0;
};
