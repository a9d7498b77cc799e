// Filters and sorts: the clauses, run against a real table, select the rows
// they promise.
#include "store/FileQuery.h"
#include "store/IndexStore.h"
#include "support/RecordFixtures.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

TEST(FilterCompiler, EveryClauseSelectsOnARealTable)
{
    auto store = IndexStore::openInMemory();
    const auto add = [&](const QString &path, qint64 size, FileKind kind, std::optional<double> opened = {},
                         std::optional<QString> source = {}) {
        FileRecord r = RecordFixtures::file(path, size, 5, kind);
        r.opened = opened;
        r.sourceID = source;
        r.isScreenshot = opened == 150;
        store->files().upsert({r}, u"/"_s, 1);
    };
    // "é" as e + combining accent, and a character outside the BMP; beside
    // a folder, names that sort right after it ("x", and "0", which follows
    // the slash).
    add(u"/Cafe\u0301/a.png"_s, 10, FileKind::image, 150, u"gmail"_s);
    add(u"/Cafe\u0301x/b.png"_s, 20, FileKind::image);
    add(u"/Cafe\u03010/f.bin"_s, 40, FileKind::other);
    add(u"/other/c.png"_s, 10, FileKind::image, 50);
    add(u"/\U0001F600/d.pdf"_s, 15, FileKind::document, {}, u"web:b.example"_s);
    add(u"/other/e.mkv"_s, 30, FileKind::video);

    const QStringList all{"a.png", "b.png", "c.png", "d.pdf", "e.mkv", "f.bin"};
    const QSet<QString> sources{"gmail", "web:b.example"};
    const std::pair<FileFilter, QStringList> cases[] = {
        {{}, all},
        {{.kinds = {FileKind::video}, .extensions = {"pdf"}}, {"d.pdf", "e.mkv"}}, // kinds widen extensions
        {{.extensions = {"pdf", "mkv"}}, {"d.pdf", "e.mkv"}},
        {{.folder = u"/Cafe\u0301"_s}, {"a.png"}},
        {{.folder = u"/\U0001F600/"_s}, {"d.pdf"}},
        {{.minSize = 10, .maxSize = 10}, {"a.png", "c.png"}},
        {{.dateFrom = 5, .dateTo = 6}, all},
        {{.dateFrom = 4, .dateTo = 5}, {}}, // half open
        {{.dateField = DateField::opened, .dateFrom = 0, .dateTo = 1000}, {"a.png", "c.png"}}, // never opened: outside
        {{.dateField = DateField::created}, all},
        {{.sources = sources}, {"a.png", "d.pdf"}},
        {{.screenshotsOnly = true}, {"a.png"}},
        {{.kinds = {FileKind::image, FileKind::document}, .dateFrom = 1, .minSize = 10, .maxSize = 15,
          .sources = sources},
         {"a.png", "d.pdf"}},
        {{.kinds = {FileKind::image}, .dateFrom = 1, .minSize = 10, .maxSize = 15, .sources = sources,
          .screenshotsOnly = true, .folder = u"/Cafe\u0301/"_s},
         {"a.png"}},
    };
    for (const auto &[filter, expected] : cases) {
        QStringList names;
        for (const FileRecord &r : store->files().list(filter, FileSort::name, 10))
            names.append(r.name);
        EXPECT_EQ(names, expected) << compileFilter(filter).clause.toStdString();
    }
}

} // namespace
