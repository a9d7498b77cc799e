// `larder index` over a folder of files made to hurt a reader: damaged PDFs,
// zip bombs long, wide and deep, entity bombs, images that claim billions of
// pixels, awkward names and a folder loop. The run ends, the worker's limits
// hold, and every ordinary file beside them is found by its words.
#include "store/SQLite.h"

#include "support/DocumentFixtures.h"
#include "support/TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <QProcess>

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace DocumentFixtures;
using namespace Qt::StringLiterals;

namespace {

TEST(HostileDocuments, IndexingGoesOnPastThemAndFindsEveryOtherFile)
{
    const QString tree = TestEnvironment::makeFolder(u"hostile"_s);
    const auto at = [&tree](const QString &name) { return tree + u'/' + name; };

    // Ordinary files, each findable by its own word.
    const std::pair<QString, QString> ordinary[] = {
        {u"notes.txt"_s, u"marmalade"_s}, {u"report.pdf"_s, u"aqueduct"_s}, {u"letter.docx"_s, u"quince"_s},
        {u"page.html"_s, u"lighthouse"_s}, {u"two\nlines.txt"_s, u"pelican"_s}, {u"sub/deeper/tab\tname.md"_s, u"gazebo"_s},
    };
    for (const auto &[name, word] : ordinary) {
        if (name.endsWith(u".pdf"_s))
            writeTextPdf(at(name), {u"The %1 report"_s.arg(word)});
        else if (name.endsWith(u".docx"_s))
            writeDocx(at(name), {u"Dear %1 grower"_s.arg(word)});
        else
            TestEnvironment::writeFile(at(name), "<p>The " + word.toUtf8() + " keeper</p>");
    }

    // Files that must give no trouble, whether or not they give text.
    QStringList slides;
    for (int i = 0; i < 100; ++i)
        slides << u"ppt/slides/slide%1.xml"_s.arg(i);
    const struct { QString name; std::function<void(const QString &)> write; } hostile[] = {
        {u"truncated.pdf"_s, [](const QString &path) { writeTextPdf(path, {u"cut short"_s}), damage(path, Damage::truncated); }},
        {u"scrambled.pdf"_s, [](const QString &path) { writeTextPdf(path, {u"noise"_s, u"more"_s}), damage(path, Damage::scrambled); }},
        {u"scrambled.docx"_s, [](const QString &path) { writeDocx(path, {u"noise"_s}), damage(path, Damage::scrambled); }},
        {u"long.docx"_s, [](const QString &path) { writeZipBomb(path, u"word/document.xml"_s, "<w:t>ha</w:t>", 300'000'000); }},
        {u"wide.pptx"_s, [&slides](const QString &path) { writeWideZipBomb(path, slides, "<a:t>ho</a:t>", 2'000'000); }},
        {u"deep.zip"_s, [](const QString &path) { writeNestedZip(path, 4, 4, 100'000'000); }},
        {u"laughs.docx"_s, [](const QString &path) { writeEntityBombDocx(path, u"giggle"_s); }},
        {u"huge.png"_s, [](const QString &path) { writeOversizedPng(path, QSize(100'000, 100'000)); }},
        {u"Screenshot from 2026-03-01 huge.png"_s, [](const QString &path) { writeOversizedPng(path, QSize(100'000, 100'000)); }},
    };
    for (const auto &file : hostile)
        file.write(at(file.name));
    // A name that isn't UTF-8 is left out and counted; a folder loop is not followed.
    const int badName = ::open((QFile::encodeName(tree) + "/bad\xff\xfename.txt").constData(), O_CREAT | O_WRONLY, 0644);
    ASSERT_GE(badName, 0);
    ::close(badName);
    ASSERT_TRUE(QFile::link(tree, at(u"sub/loop"_s)));
    ASSERT_TRUE(QFile::link(u"../.."_s, at(u"sub/deeper/up"_s)));

    const QString database = TestEnvironment::home() + u"/hostile.sqlite"_s;
    const auto run = TestEnvironment::runLarder({u"index"_s, u"--roots"_s, tree, u"--database"_s, database});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();

    SQLiteDatabase library(database);
    const auto count = [&library](const QString &sql, const SQLBindings &bindings = {}) {
        return library.scalar(sql, bindings).intValue().value_or(-1);
    };
    EXPECT_EQ(count(u"SELECT count(*) FROM files"_s), qint64(std::size(ordinary) + std::size(hostile)));
    EXPECT_EQ(count(u"SELECT count(*) FROM files WHERE text_state = 0"_s), 0) << "every file had its turn";
    for (const auto &[name, word] : ordinary) {
        EXPECT_EQ(count(u"SELECT text_state FROM files WHERE path = ?"_s, {at(name)}), 1) << name.toStdString();
        EXPECT_EQ(count(u"SELECT count(*) FROM passages p JOIN files f ON p.owner_id = CAST(f.id AS TEXT) "
                        u"WHERE passages MATCH ? AND f.path = ?"_s, {word, at(name)}), 1)
            << name.toStdString();
    }
    // The bombs' text is capped; the entity bomb's words come through unexpanded.
    for (const QString &name : {u"long.docx"_s, u"wide.pptx"_s}) {
        const qint64 characters = count(u"SELECT sum(length(body)) FROM passages p JOIN files f ON p.owner_id = CAST(f.id AS TEXT) "
                                        u"WHERE f.name = ?"_s, {name});
        EXPECT_TRUE(characters > 0 && characters < 2 * 80'000) << name.toStdString() << ": " << characters;
    }
    EXPECT_EQ(count(u"SELECT count(*) FROM passages WHERE passages MATCH 'giggle'"_s), 1);

    const auto status = TestEnvironment::runLarder({u"status"_s, u"--json"_s, u"--database"_s, database});
    EXPECT_EQ(QJsonDocument::fromJson(status.out.toUtf8()).object().value(u"skippedNames"_s).toInt(), 1) << status.out.toStdString();

#if !defined(__SANITIZE_ADDRESS__) // shadow memory would count against the sanitized build
    // The largest of larder and its text workers stayed under a gigabyte.
    struct rusage usage = {};
    ::getrusage(RUSAGE_CHILDREN, &usage);
    EXPECT_LT(usage.ru_maxrss, 1024 * 1024) << usage.ru_maxrss << " kB";
#endif
}

// A file of /proc about a process; empty once the process is gone.
QByteArray procFile(qint64 pid, const QString &name)
{
    QFile file(u"/proc/%1/%2"_s.arg(pid).arg(name));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

// The pids of a process's children, started from any of its threads.
QList<qint64> childrenOf(qint64 pid)
{
    QList<qint64> pids;
    for (const QString &task : QDir(u"/proc/%1/task"_s.arg(pid)).entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        for (const QByteArray &word : procFile(pid, u"task/%1/children"_s.arg(task)).split(' '))
            if (const qint64 child = word.trimmed().toLongLong())
                pids.append(child);
    }
    return pids;
}

// A kill of the indexer mustn't leave a worker behind that is stuck in a file
// with nobody left to enforce its time limit.
TEST(HostileDocuments, AWorkerStuckInAFileEndsWithTheKilledIndexer)
{
    const QString tree = TestEnvironment::makeFolder(u"stuck"_s);
    TestEnvironment::writeFile(tree + u"/endless.txt"_s, "the worker never finishes this one");
    QProcess larder;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"LARDER_EXTRACT_FAULT"_s, u"hang:endless*"_s);
    larder.setProcessEnvironment(environment);
    larder.start(QStringLiteral(LARDER_BINARY),
                 {u"index"_s, u"--roots"_s, tree, u"--database"_s, TestEnvironment::home() + u"/stuck.sqlite"_s});
    ASSERT_TRUE(larder.waitForStarted());
    QList<qint64> workers;
    ASSERT_TRUE(TestEnvironment::waitUntil([&] {
        workers = childrenOf(larder.processId());
        // The worker's test switch has it wait in pause() inside the file.
        return std::any_of(workers.begin(), workers.end(), [](qint64 w) { return procFile(w, u"wchan"_s).contains("pause"); });
    }, 20000));
    ::kill(pid_t(larder.processId()), SIGKILL);
    larder.waitForFinished();
    // Gone, or dead and waiting for whoever adopted it to reap it.
    for (const qint64 worker : std::as_const(workers)) {
        EXPECT_TRUE(TestEnvironment::waitUntil([worker] {
            const QByteArray stat = procFile(worker, u"stat"_s);
            return stat.isEmpty() || stat.mid(stat.lastIndexOf(')') + 2, 1) == "Z";
        }, 5000)) << "worker " << worker;
    }
}

} // namespace
