#include "store/IndexStore.h"
#include "support/RecordFixtures.h"

#include <gtest/gtest.h>

namespace {

using RecordFixtures::file;

class IndexStoreTest : public ::testing::Test
{
protected:
    qint64 idOf(const QString &path)
    {
        return m_store->db().scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue().value_or(0);
    }

    SQLRow rowOf(qint64 id)
    {
        return m_store->db().query(QStringLiteral("SELECT * FROM files WHERE id = ?"), {id}).value(0);
    }

    qint64 passageCount(qint64 id)
    {
        return *m_store->db()
                    .scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_type = 'file' AND owner_id = ?"),
                            {QString::number(id)})
                    .intValue();
    }

    // What extraction leaves behind on a file: a digest, a print, text.
    void giveDerivedData(qint64 id)
    {
        m_store->db().run(QStringLiteral("UPDATE files SET sha256 = 'abc', feature_print = x'0102', text_state = 1, "
                                         "text_excerpt = 'hello' WHERE id = ?"),
                          {id});
        m_store->db().transaction([&] {
            m_store->setPassages(QStringLiteral("file"), QString::number(id), QStringLiteral("t"),
                                 {QStringLiteral("one"), QStringLiteral("two")});
        });
    }

    std::unique_ptr<IndexStore> m_store = IndexStore::openInMemory();
};

} // namespace

TEST_F(IndexStoreTest, InsertStoresEveryFieldAndReadsItBack)
{
    FileRecord r = file(QStringLiteral("/home/a/Pictures/Trip/IMG_1.heic"), 2048, 1700000000.25, FileKind::image);
    r.uti = QStringLiteral("image/heif");
    r.created = 1600000000.0;
    r.added = 1650000000.5;
    r.opened = 1710000000.0;
    r.sourceID = QStringLiteral("web:photos.example");
    r.sourceURL = QStringLiteral("https://photos.example/1");
    r.isScreenshot = true;
    r.width = 4032;
    r.height = 3024;
    m_store->upsert({r}, QStringLiteral("/home/a/Pictures"), 10.0);

    const qint64 id = idOf(r.path);
    ASSERT_GT(id, 0);
    auto stored = m_store->record(id);
    ASSERT_TRUE(stored.has_value());
    r.id = id;
    EXPECT_EQ(*stored, r);
    EXPECT_EQ(rowOf(id).integer(QStringLiteral("text_state")), 0) << "images wait for text";
    EXPECT_EQ(rowOf(id).string(QStringLiteral("root")), QStringLiteral("/home/a/Pictures"));
    EXPECT_EQ(passageCount(id), 1) << "a title row makes it findable by name";

    const auto many = m_store->records({id, 999});
    EXPECT_EQ(many.size(), 1);
    EXPECT_EQ(many.value(id), r);
    EXPECT_TRUE(m_store->records({}).isEmpty());
    EXPECT_FALSE(m_store->record(999).has_value());
}

TEST_F(IndexStoreTest, TextStateStartsByKind)
{
    const QList<std::pair<FileKind, int>> cases{{FileKind::image, 0},   {FileKind::document, 0}, {FileKind::video, 2},
                                                {FileKind::audio, 2},   {FileKind::archive, 2},  {FileKind::app, 2},
                                                {FileKind::other, 2}};
    for (const auto &[kind, state] : cases) {
        const QString path = QStringLiteral("/r/") + fileKindRawValue(kind);
        m_store->upsert({file(path, 1, 1.0, kind)}, QStringLiteral("/r"), 1.0);
        EXPECT_EQ(rowOf(idOf(path)).integer(QStringLiteral("text_state")), state) << fileKindRawValue(kind).toStdString();
    }
}

TEST_F(IndexStoreTest, AnUnchangedFileGetsTheLightUpdateAndKeepsItsDerivedData)
{
    FileRecord r = file(QStringLiteral("/r/a.pdf"), 100, 1000.0);
    r.sourceID = QStringLiteral("gmail");
    r.opened = 5.0;
    m_store->upsert({r}, QStringLiteral("/r"), 1.0);
    const qint64 id = idOf(r.path);
    giveDerivedData(id);

    FileRecord again = r;
    again.modified = 1000.0005; // within a millisecond
    again.sourceID.reset(); // this scan found no source
    again.opened.reset();
    again.added = 7.0;
    again.width = 99; // not part of the light update
    m_store->upsert({again}, QStringLiteral("/r2"), 2.0);

    const SQLRow row = rowOf(id);
    EXPECT_EQ(row.string(QStringLiteral("sha256")), QStringLiteral("abc"));
    EXPECT_EQ(row.integer(QStringLiteral("text_state")), 1);
    EXPECT_EQ(row.string(QStringLiteral("text_excerpt")), QStringLiteral("hello"));
    EXPECT_EQ(row.string(QStringLiteral("source")), QStringLiteral("gmail")) << "a source not found again is kept";
    EXPECT_EQ(row.real(QStringLiteral("opened")), 5.0) << "the desktop forgets old files: no reading keeps the date";
    EXPECT_EQ(row.real(QStringLiteral("added")), 7.0);
    EXPECT_EQ(row.real(QStringLiteral("seen_at")), 2.0);
    EXPECT_EQ(row.string(QStringLiteral("root")), QStringLiteral("/r2"));
    EXPECT_EQ(row.integer(QStringLiteral("width")), std::nullopt);
    EXPECT_EQ(passageCount(id), 2);

    again.sourceID = QStringLiteral("slack");
    m_store->upsert({again}, QStringLiteral("/r2"), 3.0);
    EXPECT_EQ(rowOf(id).string(QStringLiteral("source")), QStringLiteral("slack")) << "a new source replaces it";
}

TEST_F(IndexStoreTest, AFileWithoutModificationDateIsUnchangedWhileItsSizeHolds)
{
    const FileRecord r = file(QStringLiteral("/r/nodate"), 10, std::nullopt);
    m_store->upsert({r}, QStringLiteral("/r"), 1.0);
    giveDerivedData(idOf(r.path));
    m_store->upsert({r}, QStringLiteral("/r"), 2.0);
    EXPECT_EQ(rowOf(idOf(r.path)).string(QStringLiteral("sha256")), QStringLiteral("abc"));
}

TEST_F(IndexStoreTest, AChangedFileLosesItsDerivedDataAndWaitsForTextAgain)
{
    const QList<std::pair<qint64, std::optional<double>>> changes{{101, 1000.0}, {100, 1000.002}, {100, std::nullopt}};
    for (const auto &[size, modified] : changes) {
        FileRecord r = file(QStringLiteral("/r/b.txt"), 100, 1000.0);
        m_store->upsert({r}, QStringLiteral("/r"), 1.0);
        const qint64 id = idOf(r.path);
        giveDerivedData(id);
        r.size = size;
        r.modified = modified;
        r.name = QStringLiteral("b.txt");
        m_store->upsert({r}, QStringLiteral("/r"), 2.0);
        const SQLRow row = rowOf(id);
        EXPECT_EQ(row.string(QStringLiteral("sha256")), std::nullopt);
        EXPECT_TRUE(row.value(QStringLiteral("feature_print")).isNull());
        EXPECT_EQ(row.string(QStringLiteral("text_excerpt")), std::nullopt);
        EXPECT_EQ(row.integer(QStringLiteral("text_state")), 0);
        EXPECT_EQ(row.integer(QStringLiteral("size")), size);
        EXPECT_EQ(passageCount(id), 1) << "passages shrink to the title row";
    }
}

TEST_F(IndexStoreTest, TwoRecordsOfOneBatchWithOnePathMakeOneRow)
{
    const FileRecord first = file(QStringLiteral("/r/dup"), 1, 1.0);
    const FileRecord second = file(QStringLiteral("/r/dup"), 2, 2.0);
    m_store->upsert({first, second}, QStringLiteral("/r"), 1.0);
    EXPECT_EQ(m_store->counts().files, 1);
    EXPECT_EQ(m_store->record(idOf(first.path))->size, 2);
    EXPECT_EQ(m_store->counts().passages, 1);
}

TEST_F(IndexStoreTest, AFailingBatchLeavesTheLibraryAsItWas)
{
    m_store->upsert({file(QStringLiteral("/r/kept"), 1, 1.0)}, QStringLiteral("/r"), 1.0);
    // A trigger makes the third insert of the batch fail.
    m_store->db().execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON files WHEN NEW.name = 'bad' "
                                         "BEGIN SELECT RAISE(ABORT, 'refused'); END"));
    const QList<FileRecord> batch{file(QStringLiteral("/r/x"), 1, 1.0), file(QStringLiteral("/r/kept"), 5, 9.0),
                                  file(QStringLiteral("/r/bad"), 1, 1.0)};
    EXPECT_THROW(m_store->upsert(batch, QStringLiteral("/r"), 2.0), SQLiteError);
    EXPECT_EQ(m_store->counts().files, 1);
    EXPECT_EQ(m_store->counts().passages, 1);
    EXPECT_EQ(m_store->record(idOf(QStringLiteral("/r/kept")))->size, 1);
    EXPECT_EQ(rowOf(idOf(QStringLiteral("/r/kept"))).real(QStringLiteral("seen_at")), 1.0);
}

TEST(IndexStoreTitle, NameSpacedNameAndTwoParentFolders)
{
    const struct
    {
        const char *path;
        const char *title;
    } cases[] = {
        {"/Users/a/Work/Invoices/ACMEInvoice2024.pdf", "ACMEInvoice2024.pdf ACMEInvoice 2024 Work Invoices"},
        {"/home/a/Notes/myFirstNote.txt", "myFirstNote.txt my First Note a Notes"},
        {"/home/a/Makefile", "Makefile Makefile home a"},
        {"/top.txt", "top.txt top"},
        {"/x/IMG2024x.jpg", "IMG2024x.jpg IMG 2024x x"},
        {"/x/y/Ünïcode9é.txt", "Ünïcode9é.txt Ünïcode 9é x y"},
    };
    for (const auto &c : cases) {
        FileRecord r;
        r.path = QString::fromUtf8(c.path);
        r.name = r.path.section(u'/', -1);
        EXPECT_EQ(IndexStore::title(r), QString::fromUtf8(c.title)) << c.path;
    }
}

TEST_F(IndexStoreTest, SetPassagesPutsTheTitleOnTheFirstRowOnly)
{
    m_store->db().transaction([&] {
        m_store->setPassages(QStringLiteral("note"), QStringLiteral("m1"), QStringLiteral("Standup"),
                             {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
        m_store->setPassages(QStringLiteral("note"), QStringLiteral("m2"), QStringLiteral("Empty"), {});
    });
    const auto rows = m_store->db().query(
        QStringLiteral("SELECT title, body, ord FROM passages WHERE owner_id = 'm1' ORDER BY ord"));
    ASSERT_EQ(rows.size(), 3);
    EXPECT_EQ(rows[0].string(QStringLiteral("title")), QStringLiteral("Standup"));
    EXPECT_EQ(rows[1].string(QStringLiteral("title")), QString());
    EXPECT_EQ(rows[2].integer(QStringLiteral("ord")), 2);
    EXPECT_EQ(m_store->db().scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_id = 'm2'")), SQLValue(1))
        << "an owner with no bodies still has its one row";
}

TEST(FileKind, RawValuesRoundTripAndUnknownIsOther)
{
    for (FileKind kind : allFileKinds())
        EXPECT_EQ(fileKindFromRawValue(fileKindRawValue(kind)), kind);
    EXPECT_EQ(fileKindFromRawValue(QStringLiteral("Image")), FileKind::other);
    EXPECT_EQ(allFileKinds().size(), 7);
}

TEST_F(IndexStoreTest, PassagesOfFilesAndMeetingsReplaceAndLeaveOnlyTheirOwn)
{
    const auto countOf = [&](const QString &type, const QString &id) {
        return *m_store->db()
                    .scalar(QStringLiteral("SELECT COUNT(*) FROM passages WHERE owner_type = ? AND owner_id = ?"),
                            {type, id})
                    .intValue();
    };
    m_store->db().transaction([&] {
        m_store->setPassages(QStringLiteral("file"), QStringLiteral("7"), QStringLiteral("seven"),
                             {QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
        m_store->setPassages(QStringLiteral("file"), QStringLiteral("8"), QStringLiteral("eight"), {});
        m_store->setPassages(QStringLiteral("transcript"), QStringLiteral("m-1"), QStringLiteral("Standup"),
                             {QStringLiteral("hello"), QStringLiteral("there")});
        m_store->setPassages(QStringLiteral("note"), QStringLiteral("m-1"), QStringLiteral("Standup"),
                             {QStringLiteral("notes")});
        // An id that is a file's number but of another owner type.
        m_store->setPassages(QStringLiteral("note"), QStringLiteral("7"), QStringLiteral("odd"), {});
    });
    m_store->db().transaction([&] {
        m_store->setPassages(QStringLiteral("file"), QStringLiteral("7"), QStringLiteral("seven"), {QStringLiteral("z")});
        m_store->setPassages(QStringLiteral("transcript"), QStringLiteral("m-1"), QStringLiteral("Standup"),
                             {QStringLiteral("again")});
    });
    EXPECT_EQ(countOf(QStringLiteral("file"), QStringLiteral("7")), 1);
    EXPECT_EQ(countOf(QStringLiteral("file"), QStringLiteral("8")), 1);
    EXPECT_EQ(countOf(QStringLiteral("transcript"), QStringLiteral("m-1")), 1);
    EXPECT_EQ(countOf(QStringLiteral("note"), QStringLiteral("m-1")), 1);
    EXPECT_EQ(countOf(QStringLiteral("note"), QStringLiteral("7")), 1);

    m_store->deletePassages({{QStringLiteral("file"), QStringLiteral("7")}, {QStringLiteral("note"), QStringLiteral("m-1")}});
    EXPECT_EQ(countOf(QStringLiteral("file"), QStringLiteral("7")), 0);
    EXPECT_EQ(countOf(QStringLiteral("note"), QStringLiteral("m-1")), 0);
    EXPECT_EQ(m_store->counts().passages, 3);

    // The full-text index agrees with the stored rows.
    m_store->db().run(QStringLiteral("INSERT INTO passages(passages) VALUES('integrity-check')"));
    const auto hits = m_store->db().query(QStringLiteral("SELECT owner_id FROM passages WHERE passages MATCH 'again'"));
    ASSERT_EQ(hits.size(), 1);
    EXPECT_EQ(hits.first().string(QStringLiteral("owner_id")), QStringLiteral("m-1"));
    EXPECT_TRUE(m_store->db().query(QStringLiteral("SELECT 1 FROM passages WHERE passages MATCH 'seven'")).isEmpty());
}

TEST_F(IndexStoreTest, AFileKeepsAtMostItsPassageLimit)
{
    QStringList bodies;
    for (int i = 0; i < IndexStore::maxPassagesPerFile + 10; ++i)
        bodies.append(QStringLiteral("p%1").arg(i));
    m_store->db().transaction([&] { m_store->setPassages(QStringLiteral("file"), QStringLiteral("3"), QString(), bodies); });
    m_store->db().transaction([&] { m_store->setPassages(QStringLiteral("file"), QStringLiteral("4"), QString(), {}); });
    EXPECT_EQ(m_store->counts().passages, IndexStore::maxPassagesPerFile + 1) << "and never spills into the next file";
}
