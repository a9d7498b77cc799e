// Ctrl-C and SIGTERM for the commands that run until stopped.
#pragma once

#include <csignal>
#include <functional>
#include <memory>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a call on the event loop while the object
// lives, so that the program ends its work cleanly instead of dying in the
// middle of it.
class StopSignals
{
public:
    explicit StopSignals(std::function<void()> stopped);
    ~StopSignals();
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

private:
    std::unique_ptr<QSocketNotifier> m_notifier;
    struct sigaction m_previousInt = {};
    struct sigaction m_previousTerm = {};
};

// The exit status of a command stopped by SIGINT or SIGTERM, as a shell
// gives one that Ctrl-C ended.
constexpr int interruptedStatus = 130;
