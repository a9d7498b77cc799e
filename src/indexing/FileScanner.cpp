#include "indexing/FileScanner.h"

#include "core/DownloadSources.h"
#include "core/Paths.h"
#include "indexing/FileKinds.h"
#include "platform/FileTraces.h"
#include "platform/MagicScreen.h"
#include "platform/MediaFacts.h"
#include "platform/QuietOpen.h"
#include "store/IndexStore.h"

#include <QDir>
#include <QFile>
#include <QMimeDatabase>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QStringDecoder>
#include <QXmlStreamReader>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

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

// CFBundleIdentifier of an application folder's XML Info.plist.
std::optional<QString> bundleIdentifier(const QString &appFolder)
{
    QFile file(appFolder + QStringLiteral("/Contents/Info.plist"));
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QXmlStreamReader xml(&file);
    bool nextIsIdentifier = false;
    while (!xml.atEnd()) {
        if (xml.readNext() != QXmlStreamReader::StartElement)
            continue;
        if (xml.name() == QLatin1String("key")) {
            nextIsIdentifier = xml.readElementText() == QLatin1String("CFBundleIdentifier");
        } else if (nextIsIdentifier) {
            const QString value = xml.readElementText().trimmed();
            if (xml.name() == QLatin1String("string") && !value.isEmpty())
                return value;
            nextIsIdentifier = false;
        }
    }
    return std::nullopt;
}

// The name patterns of shared-mime-info that don't begin with "*" and so
// look at a whole name ("Makefile.*", "README*", "CMakeLists.txt"), read
// from the databases' globs2 files ("weight:type:pattern[:flags]"), which
// is much quicker than asking every type for its patterns.
class WholeNamePatterns
{
public:
    static const WholeNamePatterns &instance()
    {
        static const WholeNamePatterns patterns;
        return patterns;
    }

    // A quick, conservative test: true when a pattern's literal beginning
    // is the beginning of the name, ignoring case.
    bool mayMatch(const QString &name) const
    {
        if (name.isEmpty())
            return false;
        const auto bucket = m_prefixes.constFind(name.at(0).toCaseFolded());
        if (bucket != m_prefixes.constEnd()) {
            for (const QString &prefix : *bucket) {
                if (name.startsWith(prefix, Qt::CaseInsensitive))
                    return true;
            }
        }
        for (const QRegularExpression &pattern : m_wildcardStarts) {
            if (pattern.match(name).hasMatch())
                return true;
        }
        return false;
    }

private:
    WholeNamePatterns()
    {
        QSet<QString> prefixes;
        const QStringList files = QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, QStringLiteral("mime/globs2"));
        for (const QString &path : files) {
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
                continue;
            while (!file.atEnd()) {
                const QByteArray line = file.readLine().trimmed();
                if (line.isEmpty() || line.startsWith('#'))
                    continue;
                const QList<QByteArray> fields = line.split(':');
                if (fields.size() < 3 || fields.at(2).startsWith('*'))
                    continue;
                const QString pattern = QString::fromUtf8(fields.at(2));
                const qsizetype wildcard = pattern.indexOf(QRegularExpression(QStringLiteral("[*?\\[]")));
                const QString literal = wildcard < 0 ? pattern : pattern.left(wildcard);
                if (literal.isEmpty()) {
                    m_wildcardStarts.append(QRegularExpression(
                        QRegularExpression::wildcardToRegularExpression(pattern),
                        QRegularExpression::CaseInsensitiveOption | QRegularExpression::UseUnicodePropertiesOption));
                } else {
                    prefixes.insert(literal);
                }
            }
        }
        for (const QString &prefix : prefixes)
            m_prefixes[prefix.at(0).toCaseFolded()].append(prefix);
    }

    // By their first letter, case-folded.
    QHash<QChar, QStringList> m_prefixes;
    QList<QRegularExpression> m_wildcardStarts;
};

} // namespace

struct FileScanner::Private
{
    struct NamedType
    {
        QMimeType type;
        enum class Match { one, none, several };
        Match match = Match::one; // one: the name decides; else the content has the last word
    };

    // What a record of the current batch still needs once the library has
    // said whether the file changed.
    struct Pending
    {
        double accessed = 0; // the last launch, for applications
        NamedType::Match nameMatch = NamedType::Match::one;
    };

    const IndexStore *store = nullptr;
    QMimeDatabase mimeDatabase;
    FileTraces::RecentlyUsed recentlyUsed;
    FileTraces::DownloadURIReader downloadURIs;
    // Folders a known app saves into stand for the app that saved a file.
    QList<QPair<QString, QString>> agentFolders;
    QStringList applicationFolders; // <data dir>/applications/, for desktop-file ids
    // Types by name, remembered by the part of the name from its first dot
    // on ("tar.gz" of "backup.tar.gz"), which is all that the "*." patterns
    // look at. Names that a pattern of a whole name could match
    // ("Makefile.am", "README.md") are never remembered.
    QHash<QString, NamedType> typeBySuffix;
    // Types of content that no content rule matches, by the sort of data
    // and the remembered suffix of names with several candidates.
    QHash<QString, QMimeType> typeOfPlainContent;
    QList<Pending> pending; // parallel to the batch
    qint64 skippedNames = 0;

    Private()
    {
        const QString downloads = Paths::userFolder(Paths::UserFolder::Downloads);
        if (!downloads.isEmpty())
            agentFolders.append({downloads + QStringLiteral("/Telegram Desktop/"), QStringLiteral("Telegram")});
        const QString documents = Paths::userFolder(Paths::UserFolder::Documents);
        if (!documents.isEmpty())
            agentFolders.append({documents + QStringLiteral("/Zoom/"), QStringLiteral("zoom.us")});

        QStringList dataDirs{Paths::dataHome()};
        const QString systemDirs = qEnvironmentVariable("XDG_DATA_DIRS", QStringLiteral("/usr/local/share:/usr/share"));
        dataDirs += systemDirs.split(u':', Qt::SkipEmptyParts);
        for (const QString &dir : dataDirs)
            applicationFolders.append(QDir::cleanPath(dir) + QStringLiteral("/applications/"));
    }

    // The type that the name gives. When the name alone doesn't decide,
    // this is its best guess, and the content is looked at later, only for
    // files whose facts are read in full.
    NamedType typeByName(const QString &name)
    {
        const std::optional<QString> suffix = rememberedSuffix(name);
        if (suffix) {
            const auto known = typeBySuffix.constFind(*suffix);
            if (known != typeBySuffix.constEnd())
                return *known;
        }
        const QList<QMimeType> byName = mimeDatabase.mimeTypesForFileName(name);
        NamedType result;
        if (byName.size() == 1) {
            result.type = byName.first();
        } else {
            result.type = mimeDatabase.mimeTypeForFile(name, QMimeDatabase::MatchExtension);
            result.match = byName.isEmpty() ? NamedType::Match::none : NamedType::Match::several;
        }
        if (suffix && typeBySuffix.size() < 4096)
            typeBySuffix.insert(*suffix, result);
        return result;
    }

    // The part of the name that its type by name depends on, when that is
    // less than the whole name.
    static std::optional<QString> rememberedSuffix(const QString &name)
    {
        const qsizetype dot = name.indexOf(u'.');
        if (dot <= 0 || WholeNamePatterns::instance().mayMatch(name))
            return std::nullopt;
        return name.mid(dot + 1);
    }

    QString agent(const QString &path) const
    {
        for (const auto &[folder, agent] : agentFolders) {
            if (path.startsWith(folder))
                return agent;
        }
        return QString();
    }

    // The desktop-file id: the path under an applications folder with "/"
    // as "-", without ".desktop"; elsewhere the file's own name.
    QString desktopID(const QString &path, const QString &name) const
    {
        QString id = name;
        for (const QString &folder : applicationFolders) {
            if (path.startsWith(folder)) {
                id = path.mid(folder.size()).replace(u'/', u'-');
                break;
            }
        }
        if (id.endsWith(QLatin1String(".desktop")))
            id.chop(8);
        return id;
    }

    QMimeType typeByContent(const FileRecord &record, NamedType::Match nameMatch);
    std::optional<FileRecord> build(const QString &path, const QString &name, const Stat &stat, Pending &state);
    void applyKind(FileRecord &record, FileKind kind, const Pending &state) const;
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
        const QList<QMimeType> byName = mimeDatabase.mimeTypesForFileName(name);
        if (!byName.isEmpty())
            r.uti = byName.first().name();
    } else {
        const NamedType named = typeByName(name);
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
        r.bundleID = bundleIdentifier(path);
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
    if (r.uti == QLatin1String("application/x-desktop"))
        r.bundleID = desktopID(r.path, r.name);
    else
        r.bundleID = r.name;
}

// The type for a name that doesn't decide it, as the database's default
// matching gives it: the content settles between the name's candidates, or
// alone when the name has none. The file is read quietly, once.
QMimeType FileScanner::Private::typeByContent(const FileRecord &record, NamedType::Match nameMatch)
{
    QFile file;
    if (!openQuietly(file, record.path))
        return mimeDatabase.mimeTypeForFile(record.name, QMimeDatabase::MatchExtension);
    const QByteArray head = file.read(16384);
    const bool candidates = nameMatch == NamedType::Match::several;
    const auto fullMatch = [&](const QByteArray &data) {
        return candidates ? mimeDatabase.mimeTypeForFileNameAndData(record.name, data)
                          : mimeDatabase.mimeTypeForData(data);
    };
    // Content that no rule matches can only be told as empty, text or
    // binary, and the answer follows from that and the name's candidates:
    // a one-byte stand-in of the same sort gets it, and it is remembered.
    static const QByteArray text("a"), binary("\x01", 1);
    const MagicScreen &screen = MagicScreen::instance();
    static const bool standInsPass = !screen.mayMatch(text) && !screen.mayMatch(binary);
    if (!standInsPass || screen.mayMatch(head))
        return fullMatch(head);
    const QByteArray &standIn = head.isEmpty() ? head : MagicScreen::looksLikeText(head) ? text : binary;
    const std::optional<QString> suffix = candidates ? rememberedSuffix(record.name) : QString();
    if (!suffix)
        return fullMatch(standIn);
    const QString key = QString::number(standIn.size()) + QString::fromLatin1(standIn) + u'/' + *suffix;
    if (const auto known = typeOfPlainContent.constFind(key); known != typeOfPlainContent.constEnd())
        return *known;
    const QMimeType type = fullMatch(standIn);
    if (typeOfPlainContent.size() < 4096)
        typeOfPlainContent.insert(key, type);
    return type;
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
            if (const auto id = FileTraces::flatpakBundleID(r.path))
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
    const QHash<QString, FileKind> unchanged = store ? store->files().unchangedKinds(batch) : QHash<QString, FileKind>();
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
            if (state.nameMatch != NamedType::Match::one) {
                const QMimeType type = typeByContent(record, state.nameMatch);
                record.uti = type.isValid() ? std::optional<QString>(type.name()) : std::nullopt;
                applyKind(record, FileKinds::kind(type), state);
            }
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

qint64 FileScanner::walk(const QString &root, int batchSize, const Flush &flush, const CancellationToken &token)
{
    d->skippedNames = 0;
    d->pending.clear();
    d->recentlyUsed.refresh();
    const QString rootPath = QDir::cleanPath(QDir(root).absolutePath());
    const auto rootStat = statPath(QFile::encodeName(rootPath));
    if (!rootStat || !rootStat->isDirectory())
        return 0;

    struct Frame
    {
        QString path;
        QByteArray encodedPath;
        QList<QByteArray> names;
        qsizetype next = 0;
    };
    const auto listFolder = [](const QString &path) {
        Frame frame{path, QFile::encodeName(path), {}, 0};
        DIR *dir = ::opendir(frame.encodedPath.constData());
        if (!dir)
            return frame; // unreadable: nothing in it is seen
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
    d->complete(batch, [&](QList<FileRecord> &&ready) { result = ready.first(); }, CancellationToken::none());
    return result;
}
