#include "cli/StopSignals.h"

#include <QSocketNotifier>

#include <sys/socket.h>
#include <unistd.h>

namespace {

int signalPipe[2] = {-1, -1};

void onSignal(int)
{
    const char byte = 1;
    [[maybe_unused]] const auto written = ::write(signalPipe[0], &byte, 1);
}

} // namespace

StopSignals::StopSignals(std::function<void()> stopped)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, signalPipe) != 0)
        return;
    m_notifier = std::make_unique<QSocketNotifier>(signalPipe[1], QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [stopped = std::move(stopped)] {
        char byte = 0;
        [[maybe_unused]] const auto read = ::read(signalPipe[1], &byte, 1);
        stopped();
    });
    struct sigaction action = {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    ::sigaction(SIGINT, &action, &m_previousInt);
    ::sigaction(SIGTERM, &action, &m_previousTerm);
}

StopSignals::~StopSignals()
{
    if (!m_notifier)
        return;
    ::sigaction(SIGINT, &m_previousInt, nullptr);
    ::sigaction(SIGTERM, &m_previousTerm, nullptr);
    m_notifier.reset();
    ::close(signalPipe[0]);
    ::close(signalPipe[1]);
    signalPipe[0] = signalPipe[1] = -1;
}
