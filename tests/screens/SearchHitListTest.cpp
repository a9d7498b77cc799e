// The search screen's rows: a new list of hits laid over the old one keeps
// the rows of files that stay, and snippets show emphasis, never marks.
#include "screens/SearchHitList.h"
#include "support/RecordFixtures.h"

#include <QAbstractItemModelTester>
#include <QPersistentModelIndex>
#include <QSignalSpy>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// One hit a letter: the file's id is the letter's code, so "abc" names three
// files and "ca" two of them in another order.
QList<FileHit> hits(const QString &letters, const QString &snippet = QString())
{
    QList<FileHit> list;
    for (const QChar letter : letters) {
        FileHit hit{RecordFixtures::file(u"/library/%1.txt"_s.arg(letter), 100, 1.7e9, FileKind::document)};
        hit.file.id = letter.unicode();
        if (!snippet.isEmpty())
            hit.snippet = snippet;
        list.append(hit);
    }
    return list;
}

QString letters(const SearchHitList &list)
{
    QString shown;
    for (int row = 0; row < list.rowCount(); ++row)
        shown.append(QChar(char16_t(list.index(row).data(FileItems::IdRole).toLongLong())));
    return shown;
}

int rowsIn(const QList<QList<QVariant>> &signals)
{
    int rows = 0;
    for (const QList<QVariant> &arguments : signals)
        rows += arguments.at(2).toInt() - arguments.at(1).toInt() + 1;
    return rows;
}

} // namespace

TEST(SearchHitList, NewHitsKeepTheRowsOfFilesThatStay)
{
    const struct
    {
        QString before;
        QString after;
        int inserted;
        int removed;
    } cases[] = {
        {u""_s, u"abc"_s, 3, 0},
        {u"abc"_s, u""_s, 0, 3},
        {u"abc"_s, u"abc"_s, 0, 0},
        {u"abc"_s, u"cba"_s, 0, 0},
        {u"abcde"_s, u"bd"_s, 0, 3},
        {u"abc"_s, u"xaybz"_s, 3, 1},
        {u"abcdef"_s, u"fxbyd"_s, 2, 3},
        {u"ab"_s, u"cdab"_s, 2, 0},
        {u"abc"_s, u"xyz"_s, 3, 3},
        {u"aab"_s, u"ba"_s, 0, 1},
        {u"ab"_s, u"abb"_s, 1, 0},
    };
    for (const auto &change : cases) {
        const std::string label = (change.before + u" → "_s + change.after).toStdString();
        SearchHitList list;
        list.setHits(hits(change.before));
        QAbstractItemModelTester tester(&list, QAbstractItemModelTester::FailureReportingMode::Fatal);
        QList<QPersistentModelIndex> kept;
        for (int row = 0; row < list.rowCount(); ++row)
            kept.append(QPersistentModelIndex(list.index(row)));
        const QList<qint64> keptIDs = [&] {
            QList<qint64> ids;
            for (const QPersistentModelIndex &index : kept)
                ids.append(index.data(FileItems::IdRole).toLongLong());
            return ids;
        }();
        QSignalSpy inserted(&list, &QAbstractItemModel::rowsInserted);
        QSignalSpy removed(&list, &QAbstractItemModel::rowsRemoved);
        QSignalSpy reset(&list, &QAbstractItemModel::modelReset);
        QSignalSpy counted(&list, &SearchHitList::countChanged);

        list.setHits(hits(change.after));

        EXPECT_EQ(letters(list), change.after) << label;
        EXPECT_EQ(list.count(), change.after.size()) << label;
        EXPECT_EQ(rowsIn(inserted), change.inserted) << label;
        EXPECT_EQ(rowsIn(removed), change.removed) << label;
        EXPECT_EQ(reset.count(), 0) << label;
        EXPECT_EQ(counted.count(), change.before.size() == change.after.size() ? 0 : 1) << label;
        // A row whose file stays still shows that file, wherever it went.
        for (qsizetype i = 0; i < kept.size(); ++i) {
            if (!kept.at(i).isValid())
                continue;
            EXPECT_EQ(kept.at(i).data(FileItems::IdRole).toLongLong(), keptIDs.at(i)) << label;
        }
    }
}

TEST(SearchHitList, ChangedValuesUpdateOnlyTheirRows)
{
    SearchHitList list;
    list.setHits(hits(u"abc"_s, u"rent ⟦due⟧"_s));
    QSignalSpy changed(&list, &QAbstractItemModel::dataChanged);
    QSignalSpy moved(&list, &QAbstractItemModel::rowsMoved);
    QList<FileHit> next = hits(u"abc"_s, u"rent ⟦due⟧"_s);
    next[1].snippet = u"⟦rent⟧ due"_s;
    next[2].reason = u"The lease"_s;

    list.setHits(next);

    ASSERT_EQ(changed.count(), 2);
    EXPECT_EQ(changed.at(0).at(0).toModelIndex().row(), 1);
    EXPECT_EQ(changed.at(1).at(0).toModelIndex().row(), 2);
    EXPECT_EQ(moved.count(), 0);
    EXPECT_EQ(list.index(1).data(SearchHitList::SnippetRole).toString(), u"<b>rent</b> due"_s);
    EXPECT_EQ(list.index(2).data(SearchHitList::ReasonRole).toString(), u"The lease"_s);
    EXPECT_EQ(list.index(0).data(SearchHitList::ReasonRole).toString(), QString());
}

TEST(SearchHitList, SnippetsShowEmphasisAndNoMarks)
{
    const std::pair<QString, QString> cases[] = {
        {u"the ⟦lease⟧ ends"_s, u"the <b>lease</b> ends"_s},
        {u"⟦a⟧ & ⟦b⟧"_s, u"<b>a</b> &amp; <b>b</b>"_s},
        {u"<i>not markup</i> ⟦word⟧"_s, u"&lt;i&gt;not markup&lt;/i&gt; <b>word</b>"_s},
        {u"no marks"_s, u"no marks"_s},
    };
    for (const auto &[snippet, markup] : cases)
        EXPECT_EQ(SearchHitList::snippetMarkup(snippet), markup) << snippet.toStdString();
}
