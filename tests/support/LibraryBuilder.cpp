#include "support/LibraryBuilder.h"

#include "support/RecordFixtures.h"

namespace LibraryBuilder {

namespace {

qint64 idOf(const IndexStore &store, const QString &path)
{
    return store.db().scalar(QStringLiteral("SELECT id FROM files WHERE path = ?"), {path}).intValue().value_or(0);
}

} // namespace

QList<qint64> add(IndexStore &store, const QList<File> &files)
{
    QList<FileRecord> records;
    for (const File &file : files) {
        FileRecord record = RecordFixtures::file(file.path, file.size, file.modified, file.kind);
        record.sourceID = file.source;
        record.isScreenshot = file.screenshot;
        records.append(record);
    }
    store.upsert(records, QStringLiteral("/library"), 1.0);

    QList<qint64> ids;
    for (qsizetype i = 0; i < files.size(); ++i) {
        ids.append(idOf(store, files.at(i).path));
        if (!files.at(i).text.isEmpty()) {
            FileRecord record = records.at(i);
            record.id = ids.last();
            store.setText(record, files.at(i).text);
        }
    }
    return ids;
}

QList<FileRecord> add(IndexStore &store, const QList<FileRecord> &records, const QString &root)
{
    store.upsert(records, root, 1.0);
    QList<FileRecord> stored;
    for (const FileRecord &record : records)
        stored.append(store.record(idOf(store, record.path)).value_or(FileRecord()));
    return stored;
}

} // namespace LibraryBuilder
