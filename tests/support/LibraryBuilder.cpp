#include "support/LibraryBuilder.h"

#include "indexing/PassageChunker.h"

#include <QFileInfo>

namespace LibraryBuilder {

QList<qint64> add(IndexStore &store, const QList<File> &files)
{
    QList<FileRecord> records;
    for (const File &file : files) {
        FileRecord record;
        record.path = file.path;
        record.name = QFileInfo(file.path).fileName();
        record.ext = QFileInfo(file.path).suffix().toLower();
        record.kind = file.kind;
        record.size = file.size;
        record.modified = file.modified;
        record.sourceID = file.source;
        record.isScreenshot = file.screenshot;
        records.append(record);
    }
    store.files().upsert(records, QStringLiteral("/library"), 1.0);

    QList<qint64> ids;
    for (qsizetype i = 0; i < files.size(); ++i) {
        const qint64 id = store.files().recordAt(files.at(i).path).value_or(FileRecord()).id;
        ids.append(id);
        if (!files.at(i).text.isEmpty()) {
            FileRecord record = records.at(i);
            record.id = id;
            store.textQueue().setText(record, splitIntoPassages(files.at(i).text));
        }
    }
    return ids;
}

} // namespace LibraryBuilder
