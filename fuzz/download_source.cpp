// The download-source parser: any where-from values, as URL text or as the
// raw bytes of the extended attributes a browser writes, give either no
// source or a well-formed source id, and never keep a password.
#include "FuzzInput.h"

#include "core/DownloadSources.h"
#include "platform/FileTraces.h"

#include <QRegularExpression>
#include <QTemporaryFile>

#include <sys/xattr.h>

namespace {

void expectWellFormed(const std::optional<QString> &id, const QString &from)
{
    if (!id)
        return;
    FUZZ_EXPECT(!id->isEmpty(), from);
    if (id->startsWith(QLatin1String("web:"))) {
        const QString host = id->mid(4);
        FUZZ_EXPECT(!host.isEmpty() && !host.contains(u'/') && !host.contains(u' ') && !host.contains(u'@'), *id);
    } else {
        FUZZ_EXPECT(KnownSource::byID().contains(*id), *id);
    }
    sourceDisplayName(*id);
    sourceSymbol(*id);
}

// A file whose where-from attributes the run writes; absent where the
// temporary folder's file system keeps no user attributes.
QTemporaryFile *attributeFile()
{
    static QTemporaryFile *file = [] {
        auto *made = new QTemporaryFile;
        if (!made->open() || ::setxattr(QFile::encodeName(made->fileName()).constData(), "user.xdg.probe", "1", 1, 0) != 0)
            return static_cast<QTemporaryFile *>(nullptr);
        return made;
    }();
    return file;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzInput input(data, size);
    const bool asAttributes = input.byte() % 2;
    const QByteArray bytes = input.rest();
    const qsizetype split = bytes.indexOf('\0');
    const QByteArray origin = split < 0 ? bytes : bytes.left(split);
    const QByteArray referrer = split < 0 ? QByteArray() : bytes.mid(split + 1);

    QStringList whereFroms;
    if (asAttributes) {
        QTemporaryFile *file = attributeFile();
        if (!file)
            return 0;
        const QByteArray path = QFile::encodeName(file->fileName());
        ::removexattr(path.constData(), "user.xdg.origin.url");
        ::removexattr(path.constData(), "user.xdg.referrer.url");
        if (!origin.isEmpty())
            ::setxattr(path.constData(), "user.xdg.origin.url", origin.constData(), size_t(origin.size()), 0);
        if (!referrer.isEmpty())
            ::setxattr(path.constData(), "user.xdg.referrer.url", referrer.constData(), size_t(referrer.size()), 0);
        whereFroms = FileTraces::whereFromAttributes(file->fileName());
    } else {
        whereFroms = {QString::fromUtf8(origin), QString::fromUtf8(referrer)};
    }

    for (const QString &from : whereFroms) {
        // What is stored keeps no user name or password, URL or not.
        const QString stored = withoutCredentials(from);
        static const QRegularExpression schemeAndSlashes(QStringLiteral("^[A-Za-z][A-Za-z0-9+.-]*://"));
        if (const auto scheme = schemeAndSlashes.match(stored); scheme.hasMatch()) {
            const QString rest = stored.mid(scheme.capturedEnd());
            const qsizetype end = rest.indexOf(QRegularExpression(QStringLiteral("[/?#]")));
            FUZZ_EXPECT(!rest.left(end).contains(u'@'), from + QLatin1String(" -> ") + stored);
        }
        FUZZ_EXPECT(withoutCredentials(stored) == stored, stored);
        sourceHost(QUrl(from));
        KnownSource::match(QUrl(from).host());
    }
    const QString agent = QString::fromUtf8(referrer.left(40));
    expectWellFormed(classifySource(whereFroms, agent), whereFroms.join(u'\n'));
    expectWellFormed(classifySource(whereFroms), whereFroms.join(u'\n'));
    return 0;
}
