#include "platform/ChildProcess.h"

#include <QFileInfo>
#include <QProcessEnvironment>
#include <QStandardPaths>

#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

// Everything the child needs, prepared before the fork: between fork and exec
// only async-signal-safe calls are allowed, so no allocation happens there.
struct ExecImage
{
    std::string program;
    std::vector<std::string> argumentStrings;
    std::vector<std::string> environmentStrings;
    std::vector<char *> argv;
    std::vector<char *> envp;

    void seal()
    {
        for (std::string &s : argumentStrings)
            argv.push_back(s.data());
        argv.push_back(nullptr);
        for (std::string &s : environmentStrings)
            envp.push_back(s.data());
        envp.push_back(nullptr);
    }
};

QString resolveProgram(const QString &program)
{
    if (program.contains(u'/'))
        return QFileInfo(program).isExecutable() ? program : QString();
    return QStandardPaths::findExecutable(program);
}

ExecImage execImage(const QString &path, const ChildProcess::Setup &setup)
{
    ExecImage image;
    image.program = path.toStdString();
    image.argumentStrings.push_back(image.program);
    for (const QString &argument : setup.arguments)
        image.argumentStrings.push_back(argument.toStdString());

    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    for (const QString &entry : setup.environment) {
        const qsizetype equals = entry.indexOf(u'=');
        if (equals > 0)
            environment.insert(entry.left(equals), entry.mid(equals + 1));
    }
    for (const QString &entry : environment.toStringList())
        image.environmentStrings.push_back(entry.toStdString());
    image.seal();
    return image;
}

int remainingMs(ChildProcess::Clock::time_point deadline)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - ChildProcess::Clock::now());
    return left.count() <= 0 ? 0 : int(std::min<qint64>(left.count(), 100));
}

} // namespace

ChildProcess::~ChildProcess()
{
    finish(std::chrono::milliseconds(200));
}

bool ChildProcess::start(const Setup &setup)
{
    finish();
    const QString path = resolveProgram(setup.program);
    if (path.isEmpty())
        return false;
    ExecImage image = execImage(path, setup);

    int sockets[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        return false;
    const int nullDevice = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    struct rlimit addressSpace {};
    if (setup.addressSpaceLimit)
        addressSpace.rlim_cur = addressSpace.rlim_max = rlim_t(*setup.addressSpaceLimit);
    const struct rlimit noCore {0, 0};
    const bool connectInput = setup.input == Setup::Input::connected;

    const pid_t pid = ::fork();
    if (pid == 0) {
        // The child: async-signal-safe calls only.
        ::dup2(connectInput ? sockets[1] : nullDevice, STDIN_FILENO);
        ::dup2(sockets[1], STDOUT_FILENO);
        ::dup2(nullDevice, STDERR_FILENO);
        // Nothing else of ours leaks into the child, CLOEXEC or not.
        ::close_range(3, ~0U, 0);
        sigset_t none;
        sigemptyset(&none);
        ::sigprocmask(SIG_SETMASK, &none, nullptr);
        ::setrlimit(RLIMIT_CORE, &noCore);
        if (setup.addressSpaceLimit)
            ::setrlimit(RLIMIT_AS, &addressSpace);
        ::signal(SIGPIPE, SIG_DFL);
        ::execve(image.program.c_str(), image.argv.data(), image.envp.data());
        ::_exit(127);
    }
    ::close(sockets[1]);
    if (nullDevice >= 0)
        ::close(nullDevice);
    if (pid < 0) {
        ::close(sockets[0]);
        return false;
    }
    m_pid = pid;
    m_channel = sockets[0];
    return true;
}

bool ChildProcess::write(const QByteArray &bytes)
{
    qsizetype written = 0;
    while (m_channel >= 0 && written < bytes.size()) {
        const ssize_t n = ::send(m_channel, bytes.constData() + written, size_t(bytes.size() - written), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        written += n;
    }
    return m_channel >= 0;
}

ChildProcess::ReadStatus ChildProcess::read(QByteArray &into, qint64 maxBytes, Clock::time_point deadline,
                                            const std::function<bool()> &isCancelled)
{
    if (m_channel < 0)
        return ReadStatus::failed;
    for (;;) {
        if (isCancelled && isCancelled())
            return ReadStatus::cancelled;
        struct pollfd poller {m_channel, POLLIN, 0};
        const int ready = ::poll(&poller, 1, remainingMs(deadline));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready < 0)
            return ReadStatus::failed;
        if (ready == 0) {
            if (Clock::now() >= deadline)
                return ReadStatus::timedOut;
            continue;
        }
        char buffer[65536];
        const ssize_t n = ::recv(m_channel, buffer, size_t(std::min<qint64>(maxBytes, sizeof buffer)), 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno == ECONNRESET ? ReadStatus::endOfFile : ReadStatus::failed;
        if (n == 0)
            return ReadStatus::endOfFile;
        into.append(buffer, n);
        return ReadStatus::data;
    }
}

ChildProcess::ReadStatus ChildProcess::readExactly(QByteArray &into, qint64 count, Clock::time_point deadline,
                                                   const std::function<bool()> &isCancelled)
{
    const qint64 wanted = into.size() + count;
    while (into.size() < wanted) {
        const ReadStatus status = read(into, wanted - into.size(), deadline, isCancelled);
        if (status != ReadStatus::data)
            return status;
    }
    return ReadStatus::data;
}

void ChildProcess::closeChannel()
{
    if (m_channel >= 0)
        ::close(m_channel);
    m_channel = -1;
}

void ChildProcess::kill()
{
    closeChannel();
    if (m_pid <= 0)
        return;
    ::kill(m_pid, SIGKILL);
    while (::waitpid(m_pid, nullptr, 0) < 0 && errno == EINTR) {
    }
    m_pid = -1;
}

void ChildProcess::finish(std::chrono::milliseconds grace)
{
    closeChannel();
    if (m_pid <= 0)
        return;
    const auto deadline = Clock::now() + grace;
    while (Clock::now() < deadline) {
        const pid_t done = ::waitpid(m_pid, nullptr, WNOHANG);
        if (done == m_pid || (done < 0 && errno != EINTR)) {
            m_pid = -1;
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    kill();
}

std::optional<QByteArray> ChildProcess::output(const Setup &setup, std::chrono::milliseconds timeLimit,
                                               qint64 outputCap)
{
    ChildProcess child;
    if (!child.start(setup))
        return std::nullopt;
    const auto deadline = Clock::now() + timeLimit;
    QByteArray output;
    while (output.size() < outputCap) {
        const ReadStatus status = child.read(output, outputCap - output.size(), deadline);
        if (status == ReadStatus::endOfFile)
            break;
        if (status != ReadStatus::data) {
            child.kill();
            return std::nullopt;
        }
    }
    if (output.size() >= outputCap)
        child.kill();
    else
        child.finish(std::chrono::milliseconds(2000));
    return output;
}
