#include "core/MessageLog.h"

#include "core/Paths.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QMutex>
#include <QMutexLocker>

#include <cstdio>
#include <cstdlib>

namespace {

// A log that outgrows this is moved aside once, so it never fills the disk.
constexpr qint64 maximumLogBytes = 1'000'000;

QtMessageHandler defaultHandler = nullptr;

bool isLibraryMessage(const QMessageLogContext &context)
{
    const QLatin1StringView category(context.category ? context.category : "default");
    return category.startsWith(QLatin1StringView("qt."));
}

const char *typeName(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg: return "debug";
    case QtInfoMsg: return "info";
    case QtWarningMsg: return "warning";
    case QtCriticalMsg: return "critical";
    case QtFatalMsg: return "fatal";
    }
    return "message";
}

void appendToLog(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    static QMutex mutex;
    static QFile log;
    const QMutexLocker lock(&mutex);
    if (!log.isOpen()) {
        const QString path = MessageLog::path();
        QDir().mkpath(QFileInfo(path).path());
        if (QFileInfo(path).size() > maximumLogBytes) {
            QFile::remove(path + ".1");
            QFile::rename(path, path + ".1");
        }
        log.setFileName(path);
        if (!log.open(QIODevice::Append | QIODevice::Text))
            return;
    }
    const QString line = QStringLiteral("%1 %2 %3: %4\n")
                             .arg(QDateTime::currentDateTime().toString(Qt::ISODate),
                                  QLatin1StringView(typeName(type)), QLatin1StringView(context.category),
                                  message);
    log.write(line.toUtf8());
    log.flush();
}

void routeMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type != QtFatalMsg && isLibraryMessage(context)) {
        appendToLog(type, context, message);
        return;
    }
    if (defaultHandler) {
        defaultHandler(type, context, message);
        return;
    }
    std::fprintf(stderr, "%s\n", qUtf8Printable(message));
    if (type == QtFatalMsg)
        std::abort();
}

} // namespace

QString MessageLog::path()
{
    return Paths::stateHome() + "/Larder/messages.log";
}

void MessageLog::install()
{
    const QtMessageHandler previous = qInstallMessageHandler(routeMessage);
    if (previous != routeMessage)
        defaultHandler = previous;
}
