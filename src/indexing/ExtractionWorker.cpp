#include "indexing/ExtractionWorker.h"

#include <QCoreApplication>
#include <QDataStream>
#include <QFileInfo>
#include <QRegularExpression>
#include <QtEndian>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const QByteArray hello = QByteArrayLiteral("larder-extract-worker/1");
// No answer is anywhere near this: the text is capped at 80,000 characters.
constexpr quint32 maxFrameBytes = 16 * 1024 * 1024;

QByteArray frame(const QByteArray &payload)
{
    QByteArray bytes(4, Qt::Uninitialized);
    qToBigEndian<quint32>(quint32(payload.size()), bytes.data());
    return bytes + payload;
}

template<typename Write>
QByteArray encoded(Write write)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    stream.setVersion(QDataStream::Qt_6_4);
    write(stream);
    return payload;
}

QDataStream &operator<<(QDataStream &stream, const std::optional<QString> &value)
{
    return stream << bool(value) << value.value_or(QString());
}

QDataStream &operator>>(QDataStream &stream, std::optional<QString> &value)
{
    bool present = false;
    QString text;
    stream >> present >> text;
    value = present ? std::optional(text) : std::nullopt;
    return stream;
}

QDataStream &operator<<(QDataStream &stream, const std::optional<qint64> &value)
{
    return stream << bool(value) << value.value_or(0);
}

QDataStream &operator>>(QDataStream &stream, std::optional<qint64> &value)
{
    bool present = false;
    qint64 number = 0;
    stream >> present >> number;
    value = present ? std::optional(number) : std::nullopt;
    return stream;
}

// ---- the child's side ----

// Repeats a read or write step until count bytes are through; false at an
// end of file or an error.
template<typename Step>
bool transferAll(size_t count, Step step)
{
    size_t done = 0;
    while (done < count) {
        const ssize_t n = step(done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += size_t(n);
    }
    return true;
}

bool readFully(int fd, char *into, size_t count)
{
    return transferAll(count, [&](size_t done) { return ::read(fd, into + done, count - done); });
}

bool writeFully(int fd, const QByteArray &bytes)
{
    const size_t count = size_t(bytes.size());
    return transferAll(count, [&](size_t done) { return ::write(fd, bytes.constData() + done, count - done); });
}

std::optional<QByteArray> readRequest(int fd)
{
    char length[4];
    if (!readFully(fd, length, sizeof length))
        return std::nullopt;
    const quint32 size = qFromBigEndian<quint32>(length);
    if (size > maxFrameBytes)
        return std::nullopt;
    QByteArray payload(qsizetype(size), Qt::Uninitialized);
    if (!readFully(fd, payload.data(), size))
        return std::nullopt;
    return payload;
}

// Ends the worker as soon as the process that asks has gone (killed, or
// crashed): nobody would read the answer, and a file that takes the reader
// long, or forever, would otherwise keep an orphan busy with no time limit.
void endWithAsker(int requests)
{
    std::thread([requests] {
        pollfd watched = {requests, POLLRDHUP, 0};
        for (;;) {
            const int ready = ::poll(&watched, 1, -1);
            if (ready < 0 && errno != EINTR)
                return;
            if (ready > 0 && (watched.revents & (POLLRDHUP | POLLHUP | POLLERR)))
                ::_exit(0);
        }
    }).detach();
}

// The test switch: "crash:PATTERN;hang:PATTERN".
void injectFault(const QString &path)
{
    const QString faults = qEnvironmentVariable(ExtractionWorker::faultVariable);
    if (faults.isEmpty())
        return;
    const QString name = QFileInfo(path).fileName();
    for (const QString &fault : faults.split(u';', Qt::SkipEmptyParts)) {
        const qsizetype colon = fault.indexOf(u':');
        if (colon < 0)
            continue;
        const QRegularExpression pattern(QRegularExpression::wildcardToRegularExpression(fault.mid(colon + 1)),
                                         QRegularExpression::UseUnicodePropertiesOption);
        if (!pattern.match(name).hasMatch())
            continue;
        const QStringView what = QStringView(fault).left(colon);
        if (what == QLatin1String("crash"))
            std::abort();
        if (what == QLatin1String("hang")) {
            for (;;)
                ::pause();
        }
        if (what == QLatin1String("memory")) {
            // Touches 3 GiB, which the address-space cap must refuse: the
            // refusal ends the worker, as a real runaway reader would.
            std::vector<char> hog(size_t(3) << 30, 'x');
            [[maybe_unused]] volatile char last = hog.back();
        }
    }
}

} // namespace

int ExtractionWorker::serve()
{
    // The answers get a descriptor of their own, and standard output goes
    // where standard error goes, so that a reader library printing to
    // standard output can't corrupt the frames.
    const int answers = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (answers < 0 || ::dup2(STDERR_FILENO, STDOUT_FILENO) < 0)
        return 1;
    // Extraction is background work wherever the worker was started from.
    Tasks::lowerCurrentThreadPriority();
    if (!writeFully(answers, frame(hello)))
        return 1;
    endWithAsker(STDIN_FILENO);
    for (;;) {
        const std::optional<QByteArray> request = readRequest(STDIN_FILENO);
        if (!request)
            return 0;
        QDataStream in(*request);
        in.setVersion(QDataStream::Qt_6_4);
        FileRecord record;
        QString kind;
        in >> record.path >> record.ext >> record.uti >> kind >> record.size >> record.isScreenshot;
        record.kind = fileKindFromRawValue(kind);
        if (in.status() != QDataStream::Ok)
            return 1;

        injectFault(record.path);
        const ExtractedText result = DocumentText::extractText(record);
        const QByteArray answer = encoded([&](QDataStream &out) { out << result.text << result.pages; });
        if (!writeFully(answers, frame(answer)))
            return 0;
    }
}

// ---- the parent's side ----

ExtractionWorker::ExtractionWorker()
    : ExtractionWorker(Options())
{
}

ExtractionWorker::ExtractionWorker(Options options)
    : m_options(std::move(options))
{
    if (m_options.program.isEmpty())
        m_options.program = QCoreApplication::applicationFilePath();
}

ExtractionWorker::~ExtractionWorker()
{
    std::lock_guard guard(m_mutex);
    m_child.finish();
}

int ExtractionWorker::startCount() const
{
    std::lock_guard guard(m_mutex);
    return m_startCount;
}

namespace {

// One frame from the child: its payload, or the reason there is none.
ChildProcess::ReadStatus readFrame(ChildProcess &child, QByteArray &payload, ChildProcess::Clock::time_point deadline,
                                   const std::function<bool()> &isCancelled)
{
    QByteArray length;
    ChildProcess::ReadStatus status = child.readExactly(length, 4, deadline, isCancelled);
    if (status != ChildProcess::ReadStatus::data)
        return status;
    const quint32 size = qFromBigEndian<quint32>(length.constData());
    if (size > maxFrameBytes)
        return ChildProcess::ReadStatus::failed;
    payload.clear();
    return child.readExactly(payload, size, deadline, isCancelled);
}

} // namespace

bool ExtractionWorker::ensureStarted()
{
    if (m_child.isRunning())
        return true;
    ChildProcess::Setup setup;
    setup.program = m_options.program;
    setup.arguments = {QStringLiteral("extract-worker")};
    // One OCR thread per worker: there is one worker per extraction slot.
    setup.environment = QStringList{QStringLiteral("OMP_THREAD_LIMIT=1")} + m_options.environment;
#if !defined(__SANITIZE_ADDRESS__)
    // (AddressSanitizer reserves terabytes of shadow address space, so a
    // sanitized build runs its workers without the cap.)
    setup.addressSpaceLimit = m_options.addressSpaceLimit;
#endif
    setup.input = ChildProcess::Setup::Input::connected;
    if (!m_child.start(setup))
        return false;
    ++m_startCount;
    QByteArray greeting;
    const auto deadline = ChildProcess::Clock::now() + m_options.startTimeLimit;
    if (readFrame(m_child, greeting, deadline, {}) != ChildProcess::ReadStatus::data || greeting != hello) {
        m_child.kill();
        return false;
    }
    return true;
}

ExtractionWorker::Result ExtractionWorker::extract(const FileRecord &record, const CancellationToken &token)
{
    std::lock_guard guard(m_mutex);
    if (token.isCancelled())
        return {{}, Outcome::cancelled};
    if (!ensureStarted())
        return {{}, Outcome::unavailable};

    const QByteArray request = encoded([&](QDataStream &out) {
        out << record.path << record.ext << record.uti << fileKindRawValue(record.kind) << record.size
            << record.isScreenshot;
    });
    if (!m_child.write(frame(request))) {
        // The worker went away between two files: start afresh once.
        m_child.kill();
        if (!ensureStarted() || !m_child.write(frame(request))) {
            m_child.kill();
            return {{}, Outcome::unavailable};
        }
    }

    QByteArray answer;
    const auto deadline = ChildProcess::Clock::now() + m_options.timeLimit;
    const auto status = readFrame(m_child, answer, deadline, [&token] { return token.isCancelled(); });
    if (status != ChildProcess::ReadStatus::data) {
        m_child.kill();
        switch (status) {
        case ChildProcess::ReadStatus::timedOut:
            return {{}, Outcome::timedOut};
        case ChildProcess::ReadStatus::cancelled:
            return {{}, Outcome::cancelled};
        default:
            return {{}, Outcome::crashed};
        }
    }

    QDataStream in(answer);
    in.setVersion(QDataStream::Qt_6_4);
    Result result;
    in >> result.content.text >> result.content.pages;
    if (in.status() != QDataStream::Ok) {
        m_child.kill();
        return {{}, Outcome::crashed};
    }
    return result;
}

// ---- slots ----

ExtractionSlots::ExtractionSlots(int count, const ExtractionWorker::Options &options)
{
    for (int i = 0; i < std::max(count, 1); ++i) {
        m_workers.push_back(std::make_unique<ExtractionWorker>(options));
        m_free.push_back(m_workers.back().get());
    }
}

ExtractionSlots::~ExtractionSlots() = default;

ExtractionWorker::Result ExtractionSlots::extract(const FileRecord &record, const CancellationToken &token)
{
    ExtractionWorker *worker = nullptr;
    {
        std::unique_lock lock(m_mutex);
        m_released.wait(lock, [this] { return !m_free.empty(); });
        worker = m_free.back();
        m_free.pop_back();
    }
    const ExtractionWorker::Result result = worker->extract(record, token);
    {
        std::lock_guard guard(m_mutex);
        m_free.push_back(worker);
    }
    m_released.notify_one();
    return result;
}

int ExtractionSlots::startCount() const
{
    int total = 0;
    for (const auto &worker : m_workers)
        total += worker->startCount();
    return total;
}
