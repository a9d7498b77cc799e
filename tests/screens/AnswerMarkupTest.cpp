// How an Ask answer reads on screen: partial Markdown, source chips, phases.
#include "ask/CitationMarks.h"
#include "screens/AnswerMarkup.h"
#include "screens/AskTurns.h"

#include <QTextBlock>
#include <QTextDocument>

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

// The links of rendered rich text, as a text item reads it back.
QList<QTextFragment> anchorsOf(QTextDocument &document, const QString &html)
{
    document.setHtml(html);
    QList<QTextFragment> anchors;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next())
        for (auto it = block.begin(); !it.atEnd(); ++it)
            if (it.fragment().charFormat().isAnchor())
                anchors.append(it.fragment());
    return anchors;
}

QString plainTextOf(const QString &html)
{
    QTextDocument document;
    document.setHtml(html);
    return document.toPlainText();
}

const AnswerMarkup::Style style{QFont(u"DejaVu Sans"_s), QColor(u"#dfe8fb"_s), QColor(u"#2f6fe4"_s),
                                QColor(u"#1155cc"_s)};

} // namespace

TEST(AnswerMarkup, PartialMarkdownIsCompletedJustEnoughToRender)
{
    const std::pair<QString, QString> cases[] = {
        {u"Plain words"_s, u"Plain words"_s},
        {u"The rent is **due"_s, u"The rent is **due**"_s},
        {u"The rent is **due "_s, u"The rent is **due**"_s},
        {u"**Rent** is *due"_s, u"**Rent** is *due*"_s},
        {u"**bold *and it"_s, u"**bold *and it***"_s},
        {u"2 * 3 = 6"_s, u"2 * 3 = 6"_s},
        {u"\\*not emphasis"_s, u"\\*not emphasis"_s},
        {u"Total: **"_s, u"Total: "_s},
        {u"- first\n* second *half"_s, u"- first\n* second *half*"_s},
        {u"*done*\n\nNew *para"_s, u"*done*\n\nNew *para*"_s},
        {u"*open\n\nclosed para"_s, u"*open\n\nclosed para"_s},
        {u"Run `git st"_s, u"Run `git st`"_s},
        {u"Run `a*b` then *go"_s, u"Run `a*b` then *go*"_s},
        {u"```\ncode *x"_s, u"```\ncode *x\n```"_s},
        {u"```\na*b\n```\nThen **bo"_s, u"```\na*b\n```\nThen **bo**"_s},
        {u"Due in May [S"_s, u"Due in May "_s},
        {u"Due in May [S1"_s, u"Due in May "_s},
        {u"Due in May [S1]"_s, u"Due in May [S1]"_s},
        {u"See [the site](https://exa"_s, u"See "_s},
        {u"[S1] first\nthen [half"_s, u"[S1] first\nthen "_s},
    };
    for (const auto &[partial, expected] : cases)
        EXPECT_EQ(AnswerMarkup::completePartial(partial), expected) << partial.toStdString();
}

TEST(AnswerMarkup, SourceLinksBecomeChipsAndOtherLinksTakeTheLinkColour)
{
    const QString html = AnswerMarkup::html(
        withCitationLinks(u"The deposit is **$1,200** [S3], due in May [S12]. See [the site](https://example.com)."_s), style);
    QTextDocument document;
    const QList<QTextFragment> anchors = anchorsOf(document, html);
    const QStringList texts{u"\u202f3\u202f"_s, u"\u202f12\u202f"_s, u"the site"_s};
    const QStringList links{u"larder-cite://3"_s, u"larder-cite://12"_s, u"https://example.com"_s};
    ASSERT_EQ(anchors.size(), 3);
    for (int i = 0; i < 3; ++i) {
        const QTextCharFormat format = anchors.at(i).charFormat();
        const bool chip = i < 2;
        EXPECT_EQ(anchors.at(i).text(), texts.at(i)) << i;
        EXPECT_EQ(format.anchorHref(), links.at(i)) << i;
        EXPECT_FALSE(format.fontUnderline()) << i;
        EXPECT_EQ(format.foreground().color(), chip ? style.citationText : style.link) << i;
        EXPECT_EQ(format.background().style() != Qt::NoBrush && format.background().color() == style.citationBackground, chip) << i;
    }
    // The Markdown itself is rendered, never shown raw.
    const QString plain = plainTextOf(html);
    EXPECT_TRUE(plain.contains(u"$1,200"_s));
    for (const QString &marker : {u"**"_s, u"[S"_s, u"]("_s})
        EXPECT_FALSE(plain.contains(marker)) << marker.toStdString();
}

TEST(AnswerMarkup, AStreamingAnswerRendersWithoutStrayMarkers)
{
    // Each cut of one answer, as it could stand mid-stream.
    const QString answer = u"**Rent** is due on the *first* [S1].\n\n- `deposit`: two months [S2]"_s;
    for (qsizetype cut = 1; cut <= answer.size(); ++cut) {
        const QString plain = plainTextOf(AnswerMarkup::html(withCitationLinks(AnswerMarkup::completePartial(answer.left(cut))), style));
        for (const QString &marker : {u"*"_s, u"`"_s, u"["_s, u"]"_s})
            EXPECT_FALSE(plain.contains(marker)) << answer.left(cut).toStdString() << " shows " << marker.toStdString();
    }
}

TEST(AskTurns, APhaseIsToldByTheTurnsFields)
{
    const auto turn = [](QString answer, QString draft, std::optional<QString> error, bool done) {
        AskModel::Turn turn;
        std::tie(turn.answer, turn.draft, turn.error, turn.done) = std::tie(answer, draft, error, done);
        return turn;
    };
    const QString lost = u"The connection was lost."_s;
    const std::pair<AskModel::Turn, QString> cases[] = {
        {turn({}, {}, {}, false), u"waiting"_s},
        {turn({}, u"Rent"_s, {}, false), u"streaming"_s},
        {turn(u"Rent is due."_s, {}, {}, true), u"answered"_s},
        {turn(u"Rent"_s, u"Rent"_s, lost, true), u"failed"_s},
        {turn({}, {}, lost, true), u"failed"_s},
        {turn(u"Rent"_s, u"Rent"_s, {}, true), u"stopped"_s},
        {turn({}, {}, {}, true), u"stopped"_s},
    };
    for (const auto &[value, phase] : cases)
        EXPECT_EQ(AskTurns::phaseName(value), phase) << phase.toStdString();
}
