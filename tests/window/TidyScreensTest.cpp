// The duplicates and clean-up screens in the real window: a scan of real
// copies and a brightened photo, the copy to keep changed by a click, the
// rest moved to the freedesktop Trash and out of the library; clean-up with
// a file and a whole category taken out of the proposal.
#include "WindowFixture.h"

#include "indexing/IndexingStatus.h"
#include "screens/LibraryModel.h"
#include "store/IndexStore.h"
#include "support/DocumentFixtures.h"
#include "support/LibraryBuilder.h"
#include "support/TestEnvironment.h"
#include "tidy/DuplicatesModel.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QQmlApplicationEngine>
#include <QQmlContext>
#include <QPainter>
#include <QUrl>

using TestEnvironment::waitUntil;
using TidyScreensTest = WindowFixture;

namespace {

// Photographs of the mate-backgrounds package.
constexpr char photoPath[] = "/usr/share/backgrounds/mate/nature/Garden.jpg";
constexpr double day = 86400;

QString makeFolder(const QString &path)
{
    EXPECT_TRUE(QDir().mkpath(path)) << path.toStdString();
    return path;
}

FileRecord write(const QString &path, const QByteArray &bytes, FileKind kind = FileKind::document)
{
    TestEnvironment::writeFile(path, bytes);
    return DocumentFixtures::recordOf(path, kind);
}

// Whether the file sits in the home Trash with the record that restores it
// to where it was: empty when it does, else what the Trash holds.
QString trashProblem(const QString &original)
{
    const QString trash = qEnvironmentVariable("XDG_DATA_HOME") + "/Trash";
    const QString name = original.section('/', -1);
    QFile info(trash + "/info/" + name + ".trashinfo");
    const QByteArray record = info.open(QIODevice::ReadOnly) ? info.readAll() : QByteArray();
    // The path is percent-encoded, as the file manager reads it back.
    const bool names = record.contains("Path=" + QUrl::toPercentEncoding(original, "/") + "\n");
    if (QFile::exists(trash + "/files/" + name) && names)
        return {};
    return "files: " + QDir(trash + "/files").entryList(QDir::Files).join(", ") + "; record: " + QString::fromUtf8(record);
}

// The window as it stands, without letting the event loop run first.
void captureNow(QQuickWindow *window, const QString &name)
{
    const QString folder = qEnvironmentVariableIsEmpty("LARDER_SCREENSHOTS") ? QDir::currentPath() + "/screenshots"
                                                                            : qEnvironmentVariable("LARDER_SCREENSHOTS");
    QDir().mkpath(folder);
    EXPECT_TRUE(window->grabWindow().save(folder + "/" + name + ".png")) << name.toStdString();
}

bool isInLibrary(AppModel &model, const QString &path)
{
    return model.store().files().recordAt(path).has_value();
}

QVariantMap groupAt(QQuickItem *screen, int index)
{
    return screen->property("groups").toList().value(index).toMap();
}

// The names of a group's files, the one kept marked with a "*".
QString members(const QVariantMap &group)
{
    QStringList names;
    for (const QVariant &file : group.value("files").toList()) {
        const QVariantMap values = file.toMap();
        names.append(values.value("name").toString() + (values.value("keep").toBool() ? "*" : ""));
    }
    return names.join(", ");
}

} // namespace

TEST_F(TidyScreensTest, DuplicatesFoundKeptByChoiceAndTheRestMovedToTheTrash)
{
    open();
    press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_EQ(screen(), "duplicates");
    QQuickItem *duplicates = item("duplicatesScreen");
    ASSERT_NE(duplicates, nullptr);
    EXPECT_EQ(duplicates->property("phase").toString(), "never");
    capture("80-duplicates-never-scanned");

    // Three copies of a report, two of a note, and a photo beside a brightened edit.
    const QString home = TestEnvironment::home();
    const QString documents = makeFolder(home + "/Documents");
    const QString downloads = makeFolder(home + "/Downloads");
    const QString pictures = makeFolder(home + "/Pictures");
    QStringList pages;
    for (int i = 1; i <= 12; ++i)
        pages.append(QString("Quarterly report, page %1: the pantry budget and the shelves.").arg(i));
    DocumentFixtures::writeTextPdf(documents + "/Report.pdf", pages);
    ASSERT_TRUE(QFile::copy(documents + "/Report.pdf", downloads + "/Report (1).pdf"));
    ASSERT_TRUE(QFile::copy(documents + "/Report.pdf", documents + "/Report copy.pdf"));
    QList<FileRecord> records;
    for (const QString &path : {documents + "/Report.pdf", downloads + "/Report (1).pdf", documents + "/Report copy.pdf"})
        records.append(DocumentFixtures::recordOf(path));
    ASSERT_GE(records.first().size, 4096) << "the report must be large enough to be compared";
    const QByteArray note = QByteArray("Flour, rice, lentils and olive oil.\n").repeated(120);
    records.append(write(documents + "/Notes.txt", note));
    records.append(write(documents + "/Notes copy.txt", note));
    QImageReader reader(QString::fromLatin1(photoPath));
    reader.setScaledSize(reader.size().scaled(900, 900, Qt::KeepAspectRatio));
    QImage photo = reader.read();
    ASSERT_FALSE(photo.isNull()) << "the photos of mate-backgrounds are missing: run scripts/install-deps";
    DocumentFixtures::writeImage(pictures + "/Garden.jpg", photo, 92);
    QPainter(&photo).fillRect(photo.rect(), QColor(255, 255, 255, 40));
    DocumentFixtures::writeImage(pictures + "/Garden edited.jpg", photo, 85);
    for (const QString name : {"Garden.jpg", "Garden edited.jpg"}) {
        FileRecord record = DocumentFixtures::recordOf(pictures + "/" + name, FileKind::image);
        record.width = photo.width();
        record.height = photo.height();
        records.append(record);
    }
    LibraryBuilder::add(m_model->store(), records, home);

    // The scan shows its phase while it runs, then the groups. Its progress
    // arrives through the event loop, so the picture is taken before that runs.
    m_model->duplicates()->scan();
    EXPECT_EQ(duplicates->property("phase").toString(), "scanning");
    EXPECT_EQ(m_model->duplicates()->phaseText(), "Comparing files with the same size…");
    captureNow(window(), "81-duplicates-scanning");
    ASSERT_TRUE(waitUntil([&] { return duplicates->property("phase").toString() == "groups"; }, 30000));
    ASSERT_EQ(duplicates->property("groups").toList().size(), 2);
    EXPECT_EQ(groupAt(duplicates, 0).value("heading").toString(), "3 identical copies");
    EXPECT_EQ(members(groupAt(duplicates, 0)), "Report copy.pdf, Report.pdf*, Report (1).pdf");
    EXPECT_EQ(members(groupAt(duplicates, 1)), "Notes copy.txt, Notes.txt*");
    EXPECT_EQ(item("scanButton")->property("text").toString(), "Scan Again");

    // A click keeps another copy; the notes are set aside.
    QQuickItem *reports = item("duplicateGroup:0");
    ASSERT_NE(reports, nullptr);
    QQuickItem *copy = find(reports, "member:0");
    ASSERT_NE(copy, nullptr);
    QTest::mouseClick(window(), Qt::LeftButton, {}, copy->mapToScene({copy->width() / 2, copy->height() / 2}).toPoint());
    ASSERT_TRUE(waitUntil([&] { return members(groupAt(duplicates, 0)).startsWith("Report copy.pdf*"); }));
    EXPECT_EQ(members(groupAt(duplicates, 0)), "Report copy.pdf*, Report.pdf, Report (1).pdf");
    QQuickItem *skip = find(item("duplicateGroup:1"), "skipGroup");
    ASSERT_NE(skip, nullptr);
    QTest::mouseClick(window(), Qt::LeftButton, {}, skip->mapToScene({skip->width() / 2, skip->height() / 2}).toPoint());
    ASSERT_TRUE(waitUntil([&] { return groupAt(duplicates, 1).value("skipped").toBool(); }));
    EXPECT_EQ(item("duplicatesSelected")->property("text").toString(), "2 files selected");
    capture("82-duplicates-identical");
    window()->resize(window()->minimumSize());
    capture("82-duplicates-identical-smallest");
    window()->resize(1240, 800);
    ASSERT_TRUE(waitUntil([&] { return item("trashDuplicates")->mapToScene({0, 0}).x() > 1000; }));

    // The other list holds the photo and its edit.
    click("mode:similar");
    ASSERT_EQ(duplicates->property("groups").toList().size(), 1);
    EXPECT_EQ(groupAt(duplicates, 0).value("heading").toString(), "2 similar photos");
    capture("83-duplicates-similar");
    click("mode:identical");

    // One question, then the copies marked Trash go, and only they.
    click("trashDuplicates");
    auto *dialog = duplicates->findChild<QObject *>("trashDuplicatesDialog");
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(waitUntil([&] { return dialog->property("opened").toBool(); }));
    EXPECT_EQ(dialog->property("title").toString(), "Move 2 files to the Trash?");
    EXPECT_TRUE(QFile::exists(documents + "/Report.pdf")) << "nothing moves before the answer";
    capture("84-duplicates-confirm");
    click("confirmButton");
    ASSERT_TRUE(waitUntil([&] { return !QFile::exists(documents + "/Report.pdf"); }));
    for (const QString &moved : {documents + "/Report.pdf", downloads + "/Report (1).pdf"}) {
        EXPECT_EQ(trashProblem(moved), "") << moved.toStdString();
        EXPECT_FALSE(isInLibrary(*m_model, moved)) << moved.toStdString();
    }
    for (const QString &kept : {documents + "/Report copy.pdf", documents + "/Notes.txt", documents + "/Notes copy.txt"}) {
        EXPECT_TRUE(QFile::exists(kept)) << kept.toStdString();
        EXPECT_TRUE(isInLibrary(*m_model, kept)) << kept.toStdString();
    }
    EXPECT_TRUE(m_model->toastText().startsWith("Moved 2 files to the Trash · ")) << m_model->toastText().toStdString();
    // The report's group fell below two copies; the skipped notes stay listed.
    ASSERT_EQ(duplicates->property("groups").toList().size(), 1);
    EXPECT_EQ(members(groupAt(duplicates, 0)), "Notes copy.txt, Notes.txt*");
    capture("85-duplicates-moved");

    // The file manager trashes a copy of the notes: once the library lets
    // it go, as the watcher has it, the group goes from the screen too.
    ASSERT_TRUE(QFile::remove(documents + "/Notes copy.txt"));
    m_model->store().files().deletePaths({documents + "/Notes copy.txt"});
    m_model->indexing()->bumpRevision();
    ASSERT_TRUE(waitUntil([&] { return duplicates->property("groups").toList().isEmpty(); }));
}

TEST_F(TidyScreensTest, EmptyStatesInLightAndDark)
{
    for (const QString scheme : {"light", "dark"}) {
        SCOPED_TRACE(scheme.toStdString());
        m_shell.reset();
        m_model.reset();
        qputenv("LARDER_COLOR_SCHEME", scheme.toUtf8());
        open();
        const QString suffix = scheme == "dark" ? "-dark" : "";
        // A library of files that are all different.
        const QString folder = makeFolder(TestEnvironment::home() + "/Unique-" + scheme);
        LibraryBuilder::add(m_model->store(),
                            {write(folder + "/a.txt", QByteArray(5000, 'a')), write(folder + "/b.txt", QByteArray(5000, 'b'))},
                            folder);

        press(Qt::Key_D, Qt::ControlModifier | Qt::ShiftModifier);
        QQuickItem *duplicates = item("duplicatesScreen");
        ASSERT_NE(duplicates, nullptr);
        click("scanButton");
        ASSERT_TRUE(waitUntil([&] { return duplicates->property("phase").toString() == "empty"; }, 20000));
        EXPECT_EQ(item("duplicatesEmpty")->property("title").toString(), "No duplicates");
        EXPECT_FALSE(item("trashDuplicates")->isVisible());
        capture("86-duplicates-nothing-found" + suffix);

        press(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
        ASSERT_EQ(screen(), "cleanup");
        ASSERT_TRUE(waitUntil([&] { return item("cleanupEmpty") && item("cleanupEmpty")->isVisible(); }));
        EXPECT_EQ(item("cleanupEmpty")->property("title").toString(), "All tidy");
        capture("87-cleanup-all-tidy" + suffix);
    }
}

TEST_F(TidyScreensTest, CleanupMovesTheCheckedFilesAndKeepsWhatWasTakenOut)
{
    open();
    const double now = double(QDateTime::currentSecsSinceEpoch());
    const QString folder = makeFolder(TestEnvironment::home() + "/Old things");
    const auto aged = [&](const QString &name, qint64 size, double ageDays, FileKind kind = FileKind::other) {
        FileRecord record = write(folder + "/" + name, QByteArray(size, 'x'), kind);
        record.added = record.opened = record.created = now - ageDays * day;
        record.isScreenshot = name.startsWith("Screenshot");
        return record;
    };
    LibraryBuilder::add(m_model->store(),
                        {aged("editor_2.1_amd64.deb", 30000, 40), aged("viewer-3.0.x86_64.rpm", 20000, 20),
                         aged("player_1.4_amd64.deb", 10000, 10), aged("fresh_0.9_amd64.deb", 9000, 2),
                         aged("Screenshot from 2026-08-01.png", 4000, 100, FileKind::image),
                         aged("Screenshot from 2026-07-01.png", 3000, 140, FileKind::image)},
                        folder);

    press(Qt::Key_K, Qt::ControlModifier | Qt::ShiftModifier);
    ASSERT_EQ(screen(), "cleanup");
    ASSERT_TRUE(waitUntil([&] { return item("cleanupCategory:installers") && item("cleanupCategory:screenshots"); }));
    const auto categoryItem = [&](const QString &kind) { return item("cleanupCategory:" + kind); };
    const auto within = [&](const QString &kind, const QString &name) -> QQuickItem * {
        QQuickItem *category = categoryItem(kind);
        return category ? find(category, name) : nullptr;
    };
    // A row that has its place in the list, below the ones before it.
    const auto isLaidOut = [&](QQuickItem *row) {
        return row && row->isVisible() && row->height() > 0 && row->y() > 0;
    };
    const auto textOf = [&](const QString &kind, const QString &name) {
        QQuickItem *found = within(kind, name);
        return found ? found->property("text").toString() : QString();
    };
    const auto clickOn = [&](QQuickItem *target) {
        ASSERT_NE(target, nullptr);
        QTest::mouseClick(window(), Qt::LeftButton, {}, target->mapToScene({target->width() / 2, target->height() / 2}).toPoint());
    };

    // Opens a category by its chevron, pressed again should the list have
    // been rebuilt under the press by a refresh of the suggestions.
    QObject *selection = m_shell->engine().rootContext()->contextProperty("cleanupSelection").value<QObject *>();
    const auto openCategory = [&](const QString &kind) {
        return waitUntil([&] {
            if (selection->property("expanded").toString() != kind)
                clickOn(within(kind, "expand"));
            return isLaidOut(within(kind, "cleanupFile:1"));
        });
    };

    // A whole category taken out moves nothing.
    ASSERT_TRUE(openCategory("screenshots"));
    clickOn(within("screenshots", "categoryCheck"));
    ASSERT_TRUE(waitUntil([&] { return textOf("screenshots", "cleanupSelected") == "0 items selected"; }));
    ASSERT_NE(within("screenshots", "trashCategory"), nullptr);
    EXPECT_FALSE(within("screenshots", "trashCategory")->isEnabled());

    // The installers, largest first, with the middle one taken out; the
    // fresh one isn't suggested.
    ASSERT_TRUE(openCategory("installers"));
    ASSERT_TRUE(waitUntil([&] { return isLaidOut(within("installers", "cleanupFile:2")); }));
    EXPECT_EQ(within("installers", "cleanupFile:3"), nullptr) << "a fresh installer isn't suggested";
    EXPECT_EQ(within("installers", "cleanupFile:1")->property("entry").toMap().value("name").toString(), "viewer-3.0.x86_64.rpm");
    clickOn(within("installers", "cleanupFile:1"));
    ASSERT_TRUE(waitUntil([&] { return textOf("installers", "cleanupSelected") == "2 items selected"; }));
    capture("88-cleanup-opened");
    window()->resize(window()->minimumSize());
    capture("88-cleanup-opened-smallest");
    window()->resize(1240, 800);
    ASSERT_TRUE(waitUntil([&] { return item("refreshCleanup")->mapToScene({0, 0}).x() > 1000; }));

    clickOn(within("installers", "trashCategory"));
    auto *dialog = item("cleanupScreen")->findChild<QObject *>("trashCleanupDialog");
    ASSERT_NE(dialog, nullptr);
    ASSERT_TRUE(waitUntil([&] { return dialog->property("opened").toBool(); }));
    EXPECT_EQ(dialog->property("title").toString(), "Move 2 items to the Trash?");
    EXPECT_EQ(dialog->property("message").toString(), "40 KB will be freed when you empty the Trash.");
    capture("89-cleanup-confirm");
    click("confirmButton");

    for (const QString name : {"editor_2.1_amd64.deb", "player_1.4_amd64.deb"}) {
        EXPECT_EQ(trashProblem(folder + "/" + name), "") << name.toStdString();
        EXPECT_FALSE(isInLibrary(*m_model, folder + "/" + name)) << name.toStdString();
    }
    EXPECT_EQ(m_model->toastText(), "Moved 2 files to the Trash · 40 KB freed");
    // The one taken out stays on disk, in the library and in the suggestions,
    // still unchecked after the refresh.
    EXPECT_TRUE(QFile::exists(folder + "/viewer-3.0.x86_64.rpm"));
    ASSERT_TRUE(waitUntil([&] {
        QQuickItem *first = within("installers", "cleanupFile:0");
        return first && first->property("entry").toMap().value("name").toString() == "viewer-3.0.x86_64.rpm"
            && !within("installers", "cleanupFile:1");
    }));
    EXPECT_FALSE(within("installers", "cleanupFile:0")->property("entry").toMap().value("checked").toBool());
    EXPECT_EQ(textOf("screenshots", "cleanupSelected"), "0 items selected");
    capture("89-cleanup-moved");
}
