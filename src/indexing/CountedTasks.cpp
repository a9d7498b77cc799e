#include "indexing/CountedTasks.h"

void CountedTasks::launch(std::function<void(const CancellationToken &)> work, const CancellationToken &token)
{
    {
        std::lock_guard guard(m_lock);
        ++m_running;
    }
    // The pool's own token is never cancelled, so the work always runs and
    // the count always comes down.
    Tasks::run(Tasks::Priority::Utility, [this, work = std::move(work), token](const CancellationToken &) {
        work(token);
        ended();
    });
}

void CountedTasks::ended()
{
    std::lock_guard guard(m_lock);
    if (--m_running == 0)
        m_allEnded.notify_all();
}

void CountedTasks::waitForAll()
{
    std::unique_lock lock(m_lock);
    m_allEnded.wait(lock, [this] { return m_running == 0; });
}
