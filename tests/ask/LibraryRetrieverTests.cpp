// Passages for a question across files, notes and transcripts, dressed as
// sources; hits whose file or meeting is gone are dropped.
#include "AskLibrary.h"

#include <gtest/gtest.h>

namespace {

using Kind = Citation::Kind;
const QSet<Kind> allKinds{Kind::file, Kind::note, Kind::transcript};

struct RetrieverLibrary : AskLibrary
{
    LibraryRetriever retriever{store, meetings};

    QStringList sources(const QString &query, const QSet<Kind> &kinds = allKinds,
                        const std::optional<QString> &excluding = std::nullopt, int limit = 10) const
    {
        QStringList found;
        for (const RetrievedPassage &passage : retriever.retrieve(query, kinds, excluding, limit))
            found.append(citationKindRawValue(passage.citation.kind) + u' ' + passage.citation.title + u" — "_s
                         + passage.citation.detail);
        found.sort();
        return found;
    }
};

} // namespace

TEST(LibraryRetriever, FindsEachKindOfSourceAndDropsWhatIsGone)
{
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    RetrieverLibrary library;
    const QString file = u"file lease.pdf — /library · Mar 3, 2026"_s;
    const QString note = u"note Untitled meeting — Meeting notes · Mar 3, 2026"_s;
    const QString transcript = u"transcript Untitled meeting — Transcript · Mar 3, 2026"_s;
    const struct { const char *name; QString query; QSet<Kind> kinds; std::optional<QString> excluding; QStringList found; } cases[] = {
        {"question words and filler only", u"what do you know about it"_s, allKinds, {}, {}},
        {"every kind", u"Where is my deposit?"_s, allKinds, {}, {file, note, transcript}},
        {"files only", u"deposit"_s, {Kind::file}, {}, {file}},
        {"meetings only", u"deposit"_s, {Kind::note, Kind::transcript}, {}, {note, transcript}},
        {"a meeting left out", u"deposit"_s, allKinds, u"m1"_s, {file}},
        {"search syntax is only words", u"deposit\" OR NEAR(lease *) AND"_s, allKinds, {}, {file, note, transcript}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(library.sources(c.query, c.kinds, c.excluding), c.found) << c.name;
    // The two vanished owners take two of the three places, which aren't refilled.
    EXPECT_EQ(library.sources(u"deposit"_s, allKinds, std::nullopt, 3).size(), 1);
}

TEST(LibraryRetriever, CutsLongPassages)
{
    RetrieverLibrary library;
    const QList<RetrievedPassage> found = library.retriever.retrieve(u"refund"_s, allKinds, std::nullopt, 5);
    ASSERT_EQ(found.size(), 1);
    EXPECT_EQ(found.first().text.size(), LibraryRetriever::textLength);
    EXPECT_EQ(found.first().citation.excerpt, found.first().text.left(LibraryRetriever::excerptLength));
}
