#include "support/LibraryBuilder.h"

#include "support/RecordFixtures.h"

#include "store/PassageChunker.h"

namespace LibraryBuilder {

namespace {

qint64 idOf(const IndexStore &store, const QString &path)
{
    return store.files().recordAt(path).value_or(FileRecord()).id;
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
    store.files().upsert(records, QStringLiteral("/library"), 1.0);

    QList<qint64> ids;
    for (qsizetype i = 0; i < files.size(); ++i) {
        ids.append(idOf(store, files.at(i).path));
        if (!files.at(i).text.isEmpty()) {
            FileRecord record = records.at(i);
            record.id = ids.last();
            store.textQueue().setText(record, splitIntoPassages(files.at(i).text));
        }
    }
    return ids;
}

QList<FileRecord> add(IndexStore &store, const QList<FileRecord> &records, const QString &root)
{
    store.files().upsert(records, root, 1.0);
    QList<FileRecord> stored;
    for (const FileRecord &record : records)
        stored.append(store.files().record(idOf(store, record.path)).value_or(FileRecord()));
    return stored;
}

} // namespace LibraryBuilder
