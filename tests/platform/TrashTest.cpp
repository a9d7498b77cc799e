// Moving to the freedesktop Trash: every record must lead the file manager
// back to the original name, whatever characters it holds, and nothing may
// be lost when names clash or a move fails.
#include "platform/Trash.h"
#include "support/TestEnvironment.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QUrl>

#include <gtest/gtest.h>

#include <optional>

namespace {

// One .trashinfo record as the file manager reads it.
struct TrashRecord
{
    QString trashedName; // the item's name under Trash/files
    QString originalPath; // Path= decoded
    QString deletionDate; // DeletionDate= as written
    bool wellFormed = false; // the header and exactly the two keys, one a line
};

QString homeTrash()
{
    return qEnvironmentVariable("XDG_DATA_HOME") + QStringLiteral("/Trash");
}

QList<TrashRecord> trashRecords()
{
    QList<TrashRecord> records;
    const QDir info(homeTrash() + QStringLiteral("/info"));
    for (const QString &name : info.entryList({QStringLiteral("*.trashinfo")}, QDir::Files)) {
        QFile file(info.filePath(name));
        if (!file.open(QIODevice::ReadOnly))
            continue;
        const QList<QByteArray> lines = file.readAll().split('\n');
        TrashRecord record;
        record.trashedName = name.chopped(int(qstrlen(".trashinfo")));
        QList<QByteArray> keys;
        for (const QByteArray &line : lines.mid(1)) {
            if (line.isEmpty())
                continue;
            const qsizetype equals = line.indexOf('=');
            keys.append(line.left(equals));
            const QByteArray value = line.mid(equals + 1);
            if (keys.last() == "Path")
                record.originalPath = QUrl::fromPercentEncoding(value);
            else if (keys.last() == "DeletionDate")
                record.deletionDate = QString::fromLatin1(value);
        }
        record.wellFormed = lines.value(0) == "[Trash Info]" && keys == QList<QByteArray>{"Path", "DeletionDate"};
        records.append(record);
    }
    return records;
}

std::optional<TrashRecord> recordFor(const QString &original)
{
    for (const TrashRecord &record : trashRecords()) {
        if (record.originalPath == original)
            return record;
    }
    return std::nullopt;
}

class TrashTest : public ::testing::Test
{
protected:
    static inline int serial = 0;
    QString folder = TestEnvironment::makeFolder(QStringLiteral("trash-%1").arg(++serial));
};

TEST_F(TrashTest, EveryNameComesBackIntactFromTheRecord)
{
    const QString names[] = {
        QStringLiteral("plain.txt"), QStringLiteral("a b.txt"), QStringLiteral("100%.txt"),
        QStringLiteral("50%20off.txt"), QStringLiteral("x#y?z=1&w.txt"), QStringLiteral("line\nbreak.txt"),
        QStringLiteral("café ✓ 日本.txt"), QStringLiteral("semi;colon[1]+plus.txt"),
    };
    for (const QString &name : names) {
        const QString path = folder + u'/' + name;
        TestEnvironment::writeFile(path, name.toUtf8());
        const QDateTime before = QDateTime::currentDateTime().addSecs(-1);
        ASSERT_TRUE(Trash::move(path)) << name.toStdString();
        const QDateTime after = QDateTime::currentDateTime().addSecs(1);

        EXPECT_FALSE(QFile::exists(path)) << name.toStdString();
        const std::optional<TrashRecord> record = recordFor(path);
        ASSERT_TRUE(record) << "no record leads back to " << name.toStdString();
        EXPECT_TRUE(record->wellFormed) << name.toStdString();
        QFile trashed(homeTrash() + QStringLiteral("/files/") + record->trashedName);
        ASSERT_TRUE(trashed.open(QIODevice::ReadOnly)) << name.toStdString();
        EXPECT_EQ(trashed.readAll(), name.toUtf8());
        // Local time to the second, without a zone.
        const QDateTime deleted = QDateTime::fromString(record->deletionDate, QStringLiteral("yyyy-MM-ddThh:mm:ss"));
        EXPECT_TRUE(deleted.isValid() && deleted >= before && deleted <= after) << record->deletionDate.toStdString();
    }
}

TEST_F(TrashTest, AClashingNameGetsItsOwnPlaceAndBothComeBack)
{
    const QString first = folder + QStringLiteral("/one/report.pdf"), second = folder + QStringLiteral("/two/report.pdf");
    TestEnvironment::writeFile(first, "first");
    TestEnvironment::writeFile(second, "second");
    ASSERT_TRUE(Trash::move(first));
    ASSERT_TRUE(Trash::move(second));

    const std::optional<TrashRecord> a = recordFor(first), b = recordFor(second);
    ASSERT_TRUE(a && b);
    EXPECT_NE(a->trashedName, b->trashedName);
    for (const auto &[record, bytes] : {std::pair{*a, QByteArray("first")}, std::pair{*b, QByteArray("second")}}) {
        QFile trashed(homeTrash() + QStringLiteral("/files/") + record.trashedName);
        ASSERT_TRUE(trashed.open(QIODevice::ReadOnly));
        EXPECT_EQ(trashed.readAll(), bytes);
    }
}

TEST_F(TrashTest, FoldersMoveWholeAndFailuresChangeNothing)
{
    const QString tree = folder + QStringLiteral("/a tree");
    TestEnvironment::writeFile(tree + QStringLiteral("/inner/leaf.txt"), "leaf");
    ASSERT_TRUE(Trash::move(tree));
    const std::optional<TrashRecord> record = recordFor(tree);
    ASSERT_TRUE(record);
    EXPECT_TRUE(QFile::exists(homeTrash() + QStringLiteral("/files/") + record->trashedName + QStringLiteral("/inner/leaf.txt")));

    const qsizetype recordsBefore = trashRecords().size();
    EXPECT_FALSE(Trash::move(folder + QStringLiteral("/missing.txt")));
    EXPECT_EQ(trashRecords().size(), recordsBefore) << "a failed move leaves no record behind";
}

} // namespace
