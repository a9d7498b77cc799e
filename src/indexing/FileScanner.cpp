#include "indexing/FileScanner.h"

#include "core/DownloadSources.h"
#include "core/Format.h"
#include "core/Paths.h"
#include "indexing/FileKinds.h"
#include "platform/ApplicationIds.h"
#include "platform/FileTraces.h"
#include "platform/FileTypes.h"
#include "platform/MediaFacts.h"
#include "platform/QuietOpen.h"
#include "store/IndexStore.h"

#include <QDir>
#include <QFile>
#include <QStringDecoder>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>

namespace {

bool isValidUtf8(const QByteArray &bytes)
{
    if (std::all_of(bytes.cbegin(), bytes.cend(), [](char c) { return uchar(c) < 0x80; }))
        return true;
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    [[maybe_unused]] const QString text = decoder.decode(bytes);
    return !decoder.hasError();
}

struct Stat
{
    struct statx st;

    bool isDirectory() const { return S_ISDIR(st.stx_mode); }
    bool isRegular() const { return S_ISREG(st.stx_mode); }
    bool isLink() const { return S_ISLNK(st.stx_mode); }
    std::optional<double> birth() const
    {
        if (!(st.stx_mask & STATX_BTIME))
            return std::nullopt;
        return seconds(st.stx_btime);
    }
    double modified() const { return seconds(st.stx_mtime); }
    double accessed() const { return seconds(st.stx_atime); }
    static double seconds(const statx_timestamp &t) { return double(t.tv_sec) + t.tv_nsec / 1e9; }
};

std::optional<Stat> statPath(const QByteArray &path)
{
    Stat result;
    if (::statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT,
                STATX_TYPE | STATX_MODE | STATX_SIZE | STATX_MTIME | STATX_ATIME | STATX_BTIME, &result.st)
        != 0)
        return std::nullopt;
    return result;
}

QString lowercaseExtension(const QString &name)
{
    const qsizetype dot = name.lastIndexOf(u'.');
    if (dot <= 0)
        return QString();
    return name.mid(dot + 1).toLower();
}

using FileKinds::isPackageName;

// The allocated bytes of every file inside a folder package.
qint64 allocatedSize(const QByteArray &folder)
{
    qint64 total = 0;
    DIR *dir = ::opendir(folder.constData());
    if (!dir)
        return 0;
    while (const dirent *entry = ::readdir(dir)) {
        const QByteArrayView name(entry->d_name);
        if (name == "." || name == "..")
            continue;
        const QByteArray path = folder + '/' + name.toByteArray();
        struct statx st;
        if (::statx(AT_FDCWD, path.constData(), AT_SYMLINK_NOFOLLOW, STATX_TYPE | STATX_BLOCKS, &st) != 0)
            continue;
        if (S_ISDIR(st.stx_mode))
            total += allocatedSize(path);
        else if (!S_ISLNK(st.stx_mode))
            total += qint64(st.stx_blocks) * 512;
    }
    ::closedir(dir);
    return total;
}

} // namespace

struct FileScanner::Private
{
    // What a record of the current batch still needs once the library has
    // said whether the file changed.
    struct Pending
    {
        double accessed = 0; // the last launch, for applications
        FileTypes::NameMatch nameMatch = FileTypes::NameMatch::decides;
    };

    const IndexStore *store = nullptr;
    // Whether the walked folder held stored files when the walk began; a
    // first scan of a folder asks the library nothing about its batches.
    bool mayMeetStoredFiles = false;
    FileTypes types;
    ApplicationIds applicationIds;
    FileTraces::RecentlyUsed recentlyUsed;
    FileTraces::DownloadURIReader downloadURIs;
    // Folders a known app saves into stand for the app that saved a file.
    QList<QPair<QString, QString>> agentFolders;
    QList<Pending> pending; // parallel to the batch
    qint64 skippedNames = 0;
    QStringList unreadableFolders;

    Private()
    {
        const QString downloads = Paths::userFolder(Paths::UserFolder::Downloads);
        if (!downloads.isEmpty())
            agentFolders.append({downloads + QStringLiteral("/Telegram Desktop/"), QStringLiteral("Telegram")});
        const QString documents = Paths::userFolder(Paths::UserFolder::Documents);
        if (!documents.isEmpty())
            agentFolders.append({documents + QStringLiteral("/Zoom/"), QStringLiteral("zoom.us")});
    }

    QString agent(const QString &path) const
    {
        for (const auto &[folder, agent] : agentFolders) {
            if (path.startsWith(folder))
                return agent;
        }
        return QString();
    }

    std::optional<FileRecord> build(const QString &path, const QString &name, const Stat &stat, Pending &state);
    void applyKind(FileRecord &record, FileKind kind, const Pending &state) const;
    void typeByContent(FileRecord &record, const Pending &state);
    void readContentFacts(FileRecord &record) const;
    // Completes the batch's records and hands them to deliver; empties the batch.
    void complete(QList<FileRecord> &batch, const std::function<void(QList<FileRecord> &&)> &deliver,
                  const CancellationToken &token);
};

std::optional<FileRecord> FileScanner::Private::build(const QString &path, const QString &name, const Stat &stat,
                                                      Pending &state)
{
    const bool isPackage = stat.isDirectory();
    FileRecord r;
    r.path = path;
    r.name = name;
    r.ext = lowercaseExtension(name);
    FileKind kind = FileKind::other;
    if (isPackage) {
        kind = FileKinds::packageKind(r.ext);
        // An unrecognised package is left out whole.
        if (kind == FileKind::other)
            return std::nullopt;
        const QMimeType type = types.ofPackage(name);
        if (type.isValid())
            r.uti = type.name();
    } else {
        const FileTypes::ByName named = types.byName(name);
        if (named.type.isValid())
            r.uti = named.type.name();
        kind = FileKinds::kind(named.type);
        state.nameMatch = named.match;
    }
    state.accessed = stat.accessed();
    r.size = qint64(stat.st.stx_size);
    // Birth time stands for both creation and arrival in the folder: a
    // download, a copy and a move across file systems all set it.
    r.created = stat.birth();
    r.added = stat.birth();
    r.modified = stat.modified();

    QStringList whereFroms = FileTraces::whereFromAttributes(path);
    if (whereFroms.isEmpty() && !isPackage) {
        if (const auto uri = downloadURIs.downloadURI(path))
            whereFroms.append(*uri);
    }
    if (const auto source = classifySource(whereFroms, agent(path))) {
        r.sourceID = source;
        if (whereFroms.size() >= 2)
            r.sourceURL = whereFroms.at(1);
        else if (whereFroms.size() == 1)
            r.sourceURL = whereFroms.first();
    }
    applyKind(r, kind, state);
    if (isPackage && kind == FileKind::app) {
        r.bundleID = ApplicationIds::fromApplicationFolder(path);
        r.size = allocatedSize(QFile::encodeName(path));
    }
    return r;
}

// The fields that follow from the kind.
void FileScanner::Private::applyKind(FileRecord &r, FileKind kind, const Pending &state) const
{
    r.kind = kind;
    r.isScreenshot = kind == FileKind::image && FileKinds::isScreenshotName(r.name);
    r.bundleID.reset();
    if (kind != FileKind::app) {
        r.opened = recentlyUsed.lastUsed(r.path);
        return;
    }
    // The access time of an application stands for its last launch. A
    // Flatpak bundle's own id replaces its name when its content is read.
    r.opened = state.accessed;
    r.bundleID = applicationIds.fromPath(r.path, r.name, r.uti.value_or(QString()));
}

// Settles the type that the name left open by the file's opening bytes,
// read quietly; an unreadable file keeps the name's guess.
void FileScanner::Private::typeByContent(FileRecord &record, const Pending &state)
{
    QFile file;
    if (!openQuietly(file, record.path))
        return;
    const QMimeType type = types.byContent(record.name, state.nameMatch, file.read(FileTypes::headSize));
    record.uti = type.isValid() ? std::optional<QString>(type.name()) : std::nullopt;
    applyKind(record, FileKinds::kind(type), state);
}

void FileScanner::Private::readContentFacts(FileRecord &r) const
{
    switch (r.kind) {
    case FileKind::image:
        if (!r.width) {
            if (const auto size = MediaFacts::imageSize(r.path)) {
                r.width = size->width();
                r.height = size->height();
            }
        }
        break;
    case FileKind::video:
    case FileKind::audio: {
        const MediaFacts::AudioVisual facts = MediaFacts::audioVisual(r.path);
        r.duration = facts.duration;
        if (r.kind == FileKind::video && facts.pixelSize) {
            r.width = facts.pixelSize->width();
            r.height = facts.pixelSize->height();
        }
        break;
    }
    case FileKind::document:
        if (r.uti == QLatin1String("application/pdf"))
            r.pages = MediaFacts::pdfPageCount(r.path);
        break;
    case FileKind::app:
        if (r.uti == QLatin1String("application/vnd.flatpak")) {
            if (const auto id = ApplicationIds::fromFlatpakBundle(r.path))
                r.bundleID = id;
        }
        break;
    case FileKind::archive:
    case FileKind::other:
        break;
    }
}

void FileScanner::Private::complete(QList<FileRecord> &batch,
                                    const std::function<void(QList<FileRecord> &&)> &deliver,
                                    const CancellationToken &token)
{
    if (batch.isEmpty())
        return;
    const QHash<QString, FileKind> unchanged =
        mayMeetStoredFiles ? store->files().unchangedKinds(batch) : QHash<QString, FileKind>();
    QList<FileRecord> ready;
    ready.reserve(batch.size());
    for (qsizetype i = 0; i < batch.size(); ++i) {
        FileRecord &record = batch[i];
        const Pending &state = pending.at(i);
        const auto stored = unchanged.constFind(record.path);
        if (stored != unchanged.constEnd()) {
            // Only the light facts are written; they follow the stored kind.
            if (*stored != record.kind)
                applyKind(record, *stored, state);
        } else {
            // A record stored without its facts would look unchanged at the
            // next scan and never get them: after cancellation, leave it for
            // the next walk instead.
            if (token.isCancelled())
                continue;
            if (state.nameMatch != FileTypes::NameMatch::decides)
                typeByContent(record, state);
            readContentFacts(record);
        }
        ready.append(std::move(record));
    }
    batch.clear();
    pending.clear();
    if (!ready.isEmpty())
        deliver(std::move(ready));
}

FileScanner::FileScanner(const IndexStore *store)
    : d(std::make_unique<Private>())
{
    d->store = store;
}

FileScanner::~FileScanner() = default;

qint64 FileScanner::skippedNameCount() const
{
    return d->skippedNames;
}

QStringList FileScanner::unreadableFolders() const
{
    return d->unreadableFolders;
}

qint64 FileScanner::walk(const QString &root, int batchSize, const Flush &flush, const CancellationToken &token)
{
    d->skippedNames = 0;
    d->unreadableFolders.clear();
    d->pending.clear();
    d->recentlyUsed.refresh();
    const QString rootPath = QDir::cleanPath(QDir(root).absolutePath());
    const auto rootStat = statPath(QFile::encodeName(rootPath));
    if (!rootStat || !rootStat->isDirectory())
        return 0;
    d->mayMeetStoredFiles = d->store && d->store->files().holdsFilesUnder(rootPath);

    struct Frame
    {
        QString path;
        QByteArray encodedPath;
        QList<QByteArray> names;
        qsizetype next = 0;
    };
    const auto listFolder = [this](const QString &path) {
        Frame frame{path, QFile::encodeName(path), {}, 0};
        DIR *dir = ::opendir(frame.encodedPath.constData());
        if (!dir) {
            // Nothing in it is seen. A folder that went meanwhile is no loss.
            if (errno != ENOENT && errno != ENOTDIR)
                d->unreadableFolders.append(path);
            return frame;
        }
        while (const dirent *entry = ::readdir(dir)) {
            // Hidden entries, "." and ".." included, are never walked.
            if (entry->d_name[0] == '.')
                continue;
            frame.names.append(QByteArray(entry->d_name));
        }
        ::closedir(dir);
        std::sort(frame.names.begin(), frame.names.end());
        return frame;
    };

    // The library writes a batch while the walk reads the next one.
    SerialWorker writer;
    const auto handOver = [&](QList<FileRecord> &&ready) {
        writer.post([&flush, ready = std::move(ready)] { flush(ready); });
    };

    QList<Frame> stack{listFolder(rootPath)};
    QList<FileRecord> batch;
    batch.reserve(batchSize);
    qint64 count = 0;
    const auto prefix = [](const QString &folder) { return folder == QLatin1String("/") ? QString() : folder; };

    while (!stack.isEmpty()) {
        if (token.isCancelled())
            break;
        Frame &frame = stack.last();
        if (frame.next >= frame.names.size()) {
            stack.removeLast();
            continue;
        }
        const QByteArray &encodedName = frame.names.at(frame.next++);
        if (!isValidUtf8(encodedName)) {
            ++d->skippedNames;
            continue;
        }
        const QString name = QString::fromUtf8(encodedName);
        const QString path = prefix(frame.path) + u'/' + name;
        const auto stat = statPath(frame.encodedPath + '/' + encodedName);
        if (!stat || stat->isLink())
            continue;
        if (stat->isDirectory() && !isPackageName(name)) {
            if (!FileKinds::skippedFolderNames().contains(name))
                stack.append(listFolder(path));
            continue;
        }
        if (!stat->isDirectory() && !stat->isRegular())
            continue; // pipes, sockets, devices
        Private::Pending state;
        auto record = d->build(path, name, *stat, state);
        if (!record)
            continue;
        batch.append(std::move(*record));
        d->pending.append(state);
        ++count;
        if (batch.size() >= batchSize)
            d->complete(batch, handOver, token);
    }
    d->complete(batch, handOver, token);
    writer.finish();
    return count;
}

std::optional<FileRecord> FileScanner::record(const QString &path)
{
    const QString cleaned = QDir::cleanPath(path);
    const auto stat = statPath(QFile::encodeName(cleaned));
    if (!stat || stat->isLink())
        return std::nullopt;
    const QString name = cleaned.section(u'/', -1);
    if (stat->isDirectory() ? !isPackageName(name) : !stat->isRegular())
        return std::nullopt;
    d->recentlyUsed.refresh();
    Private::Pending state;
    auto record = d->build(cleaned, name, *stat, state);
    if (!record)
        return std::nullopt;
    std::optional<FileRecord> result;
    QList<FileRecord> batch{*record};
    d->pending = {state};
    d->mayMeetStoredFiles = d->store != nullptr;
    d->complete(batch, [&](QList<FileRecord> &&ready) { result = ready.first(); }, CancellationToken::none());
    return result;
}

QString FileScanner::unreadableMessage(const QStringList &folders)
{
    if (folders.size() == 1)
        return QStringLiteral("Couldn't read the folder “%1”, so its files are left out. Check its permissions.")
            .arg(folders.first());
    return QStringLiteral("Couldn't read %1 folders, such as “%2”, so their files are left out. "
                          "Check their permissions.")
        .arg(Format::count(folders.size()), folders.first());
}
