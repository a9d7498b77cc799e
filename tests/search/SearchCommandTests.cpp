// `larder search` end to end: the real program on a library file.
#include "cli/HitText.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

#include <sys/xattr.h>

namespace {

class SearchCommand : public ::testing::Test
{
protected:
    // A folder scanned by `larder scan`, then the text of two documents
    // stored as the extractor stores it.
    static void SetUpTestSuite()
    {
        const QString root = TestEnvironment::makeFolder(QStringLiteral("Library"));
        databasePath = TestEnvironment::makeFolder(QStringLiteral("search-command")) + QStringLiteral("/Library.sqlite");
        const QString lease = root + QStringLiteral("/Housing/lease-2024.pdf");
        const QString notes = root + QStringLiteral("/Shared/notes.txt");
        const QString video = root + QStringLiteral("/Shared/holiday.mp4");
        TestEnvironment::writeFile(lease, QByteArray(2400, 'x'));
        TestEnvironment::writeFile(notes, QByteArray(300, ' '));
        TestEnvironment::writeFile(video, QByteArray(1000, '\0'));
        const QByteArray from("https://mail.google.com/mail/u/0/");
        ::setxattr(QFile::encodeName(lease).constData(), "user.xdg.origin.url", from.constData(), size_t(from.size()), 0);
        const QDateTime now = QDateTime::currentDateTime();
        setModified(lease, now.addSecs(-3600));
        setModified(notes, now.addSecs(-7200));
        setModified(video, now.addSecs(-60));

        const auto scan = TestEnvironment::runLarder({QStringLiteral("scan"), QStringLiteral("--database"), databasePath, root});
        ASSERT_EQ(scan.exitCode, 0) << scan.err.toStdString();

        auto store = IndexStore::open(QUrl::fromLocalFile(databasePath));
        const QList<FileRecord> records = store->list(FileFilter(), FileSort::name, 10);
        ASSERT_EQ(records.size(), 3);
        store->setText(records.at(1), QStringLiteral("The lease agreement for the flat, signed in March."));
        store->setText(records.at(2), QStringLiteral("Shopping list. The lease came up once."));
    }

    static void setModified(const QString &path, const QDateTime &when)
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::ReadWrite));
        ASSERT_TRUE(file.setFileTime(when, QFileDevice::FileModificationTime));
    }

    static TestEnvironment::ProgramResult search(const QStringList &arguments)
    {
        return TestEnvironment::runLarder(QStringList{QStringLiteral("search"), QStringLiteral("--database"),
                                                      databasePath} + arguments);
    }

    static inline QString databasePath;
};

TEST_F(SearchCommand, PrintsEachHitWithItsFactsAndSnippet)
{
    const auto result = search({QStringLiteral("lease")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QStringList lines = result.out.split(u'\n');
    ASSERT_GE(lines.size(), 3);
    EXPECT_EQ(lines.at(0), QStringLiteral("lease-2024.pdf"));
    EXPECT_TRUE(lines.at(1).startsWith(QStringLiteral("    ~/Library/Housing · 2 KB · "))) << lines.at(1).toStdString();
    EXPECT_TRUE(lines.at(1).endsWith(QStringLiteral(" · Gmail")));
    // Not a terminal: the words are plain, without markers or escapes.
    EXPECT_TRUE(lines.at(2).contains(QStringLiteral("The lease agreement"))) << lines.at(2).toStdString();
    EXPECT_FALSE(result.out.contains(u'⟦'));
    EXPECT_FALSE(result.out.contains(u'\x1b'));
    EXPECT_TRUE(result.out.contains(QStringLiteral("\nnotes.txt\n    ~/Library/Shared · 300 bytes · ")))
        << result.out.toStdString();
}

TEST_F(SearchCommand, JsonKeepsTheRecordFieldsAndMarkers)
{
    const auto result = search({QStringLiteral("--json"), QStringLiteral("the"), QStringLiteral("lease"),
                                QStringLiteral("--limit"), QStringLiteral("1")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    const QJsonObject object = QJsonDocument::fromJson(result.out.toUtf8()).object();
    const QJsonArray hits = object.value(QStringLiteral("hits")).toArray();
    ASSERT_EQ(hits.size(), 1);
    const QJsonObject hit = hits.at(0).toObject();
    EXPECT_EQ(hit.value(QStringLiteral("file")).toObject().value(QStringLiteral("name")).toString(),
              QStringLiteral("lease-2024.pdf"));
    EXPECT_EQ(hit.value(QStringLiteral("file")).toObject().value(QStringLiteral("size")).toInteger(), 2400);
    EXPECT_EQ(hit.value(QStringLiteral("file")).toObject().value(QStringLiteral("sourceID")).toString(),
              QStringLiteral("gmail"));
    EXPECT_GT(hit.value(QStringLiteral("score")).toDouble(), 0);
    EXPECT_TRUE(hit.value(QStringLiteral("snippet")).toString().contains(QStringLiteral("⟦lease⟧")));
    EXPECT_TRUE(hit.value(QStringLiteral("reason")).isNull());
    EXPECT_EQ(object.value(QStringLiteral("query")).toObject().value(QStringLiteral("keywords")).toArray(),
              QJsonArray{QStringLiteral("lease")});
}

TEST_F(SearchCommand, ExplainListsTheChipsInOrder)
{
    const auto result = search({QStringLiteral("--explain"),
                                QStringLiteral("big videos and pdfs from gmail about my lease downloaded last week")});
    ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
    EXPECT_TRUE(result.out.startsWith(QStringLiteral("Understood as:\n  Videos\n  PDF\n  Downloaded · Last week\n"
                                                     "  Over 100 MB\n  From Gmail\n  “lease”\n\n")))
        << result.out.toStdString();

    const auto json = search({QStringLiteral("--explain"), QStringLiteral("--json"), QStringLiteral("screenshots")});
    const QJsonObject object = QJsonDocument::fromJson(json.out.toUtf8()).object();
    EXPECT_EQ(object.value(QStringLiteral("chips")).toArray(), QJsonArray{QStringLiteral("Screenshots")});
}

TEST_F(SearchCommand, EmptyResultsAndBadOptions)
{
    auto result = search({QStringLiteral("xyzzy")});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out, QStringLiteral("No files found.\n"));

    // A request with keywords but no usable word finds nothing; a blank one
    // lists the newest files.
    EXPECT_EQ(search({QStringLiteral("x-y")}).out, QStringLiteral("No files found.\n"));
    const QString everything = search({QStringLiteral("  ")}).out;
    for (const char *name : {"holiday.mp4\n", "lease-2024.pdf\n", "notes.txt\n"})
        EXPECT_TRUE(everything.contains(QLatin1String(name))) << everything.toStdString();

    const auto unopenable = TestEnvironment::runLarder(
        {QStringLiteral("search"), QStringLiteral("--database"), QStringLiteral("/proc/larder/Library.sqlite"),
         QStringLiteral("lease")});
    EXPECT_EQ(unopenable.exitCode, 1);
    EXPECT_TRUE(unopenable.err.contains(QStringLiteral("Couldn't open the library database"))) << unopenable.err.toStdString();

    // After "--" every word is the request, even one that looks like a launch argument.
    const auto dashed = search({QStringLiteral("--json"), QStringLiteral("--"), QStringLiteral("-draft"), QStringLiteral("notes")});
    EXPECT_EQ(QJsonDocument::fromJson(dashed.out.toUtf8())["query"]["keywords"].toArray(),
              (QJsonArray{QStringLiteral("draft"), QStringLiteral("notes")}))
        << dashed.out.toStdString() << dashed.err.toStdString();

    for (const QStringList &bad : {QStringList{}, QStringList{QStringLiteral("--limit"), QStringLiteral("0"),
                                                              QStringLiteral("lease")}}) {
        result = search(bad);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_TRUE(result.err.contains(QStringLiteral("Usage: larder search")));
    }
}

TEST_F(SearchCommand, AnyTextFromTheTerminalSearchesWithoutError)
{
    const QStringList texts{
        QStringLiteral("\"lease* AND (NOT title:notes) NEAR(a b)"),
        QString(10'000, u'('),
        QStringLiteral("lease\x01\x02\t\x7f OR"),
    };
    for (const QString &text : texts) {
        const auto result = search({text});
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        EXPECT_TRUE(result.err.isEmpty()) << result.err.toStdString();
    }

    // Bytes that are not UTF-8, as a terminal may pass them.
    QProcess shell;
    shell.start(QStringLiteral("/bin/sh"),
                {QStringLiteral("-c"), QStringLiteral("\"$0\" search --database \"$1\" \"$(printf 'lease \\377\\376 \\303(')\""),
                 QStringLiteral(LARDER_BINARY), databasePath});
    ASSERT_TRUE(shell.waitForFinished(60000));
    EXPECT_EQ(shell.exitCode(), 0) << shell.readAllStandardError().toStdString();
    EXPECT_TRUE(shell.readAllStandardOutput().startsWith("lease-2024.pdf\n"));
}

TEST(HitText, BoldOnlyOnATerminal)
{
    const QString snippet = QStringLiteral("…the ⟦lease⟧\nand ⟦flat⟧");
    EXPECT_EQ(snippetText(snippet, Emphasis::terminalBold),
              QStringLiteral("…the \x1b[1mlease\x1b[22m and \x1b[1mflat\x1b[22m"));
    EXPECT_EQ(snippetText(snippet, Emphasis::plain), QStringLiteral("…the lease and flat"));
}

} // namespace
