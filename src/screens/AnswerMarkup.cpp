#include "screens/AnswerMarkup.h"

#include "ask/CitationMarks.h"

#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>

namespace AnswerMarkup {

namespace {

bool isFence(QStringView line)
{
    const QStringView trimmed = line.trimmed();
    return trimmed.startsWith(u"```") || trimmed.startsWith(u"~~~");
}

// Whether the text ends inside a fenced code block, and where the text that
// follows the last fence begins.
struct Fences
{
    bool open = false;
    qsizetype afterLast = 0;
};

Fences fencesOf(const QString &text)
{
    Fences fences;
    qsizetype lineStart = 0;
    while (lineStart <= text.size()) {
        qsizetype lineEnd = text.indexOf(u'\n', lineStart);
        if (lineEnd < 0)
            lineEnd = text.size();
        if (isFence(QStringView(text).mid(lineStart, lineEnd - lineStart))) {
            fences.open = !fences.open;
            fences.afterLast = lineEnd + 1;
        }
        lineStart = lineEnd + 1;
    }
    return fences;
}

bool isMarker(QChar c)
{
    return c == u'*' || c == u'_' || c == u'`' || c == u'~';
}

// Markers at the very end wait for what follows them: an opener has no
// text yet, and a closer may be the first half of "**". The closers are
// worked out again from the text before them.
void holdBackTrailingMarkers(QString &text)
{
    qsizetype end = text.size();
    while (end > 0 && isMarker(text.at(end - 1)))
        --end;
    text.truncate(end);
}

// A link or source mark on the last line whose brackets haven't closed
// waits until they have, so that no half of "[S1]" or "[text](url" shows.
void holdBackOpenLink(QString &text)
{
    const qsizetype lineStart = text.lastIndexOf(u'\n') + 1;
    const qsizetype open = text.lastIndexOf(u'[');
    if (open < lineStart)
        return;
    const qsizetype close = text.indexOf(u']', open);
    if (close < 0) {
        text.truncate(open);
        return;
    }
    if (close + 1 < text.size() && text.at(close + 1) == u'(' && text.indexOf(u')', close) < 0)
        text.truncate(open);
}

qsizetype runLength(QStringView text, qsizetype from)
{
    qsizetype end = from;
    while (end < text.size() && text.at(end) == text.at(from))
        ++end;
    return end - from;
}

// The markers that close the emphasis and code spans still open at the end
// of the paragraph, innermost first.
QString closersOf(QStringView paragraph)
{
    QStringList open;
    bool lineStart = true;
    qsizetype i = 0;
    while (i < paragraph.size()) {
        const QChar c = paragraph.at(i);
        if (c == u'\n') {
            lineStart = true;
            ++i;
            continue;
        }
        if (lineStart) {
            // Indentation, and a list bullet, open nothing.
            while (i < paragraph.size() && paragraph.at(i) == u' ')
                ++i;
            lineStart = false;
            if (i + 1 < paragraph.size() && (paragraph.at(i) == u'*' || paragraph.at(i) == u'-' || paragraph.at(i) == u'+')
                && paragraph.at(i + 1) == u' ')
                i += 2;
            continue;
        }
        if (c == u'\\') {
            i += 2;
            continue;
        }
        if (c == u'`') {
            const qsizetype length = runLength(paragraph, i);
            const QString fence(length, u'`');
            const qsizetype close = paragraph.indexOf(fence, i + length);
            if (close < 0) {
                // Everything after an open code span is code.
                open.append(fence);
                break;
            }
            i = close + length;
            continue;
        }
        if (c == u'*') {
            // A run opens before text and closes after it; one between
            // spaces, as in "2 * 3", is a plain asterisk.
            const qsizetype length = runLength(paragraph, i);
            const bool afterText = i > 0 && !paragraph.at(i - 1).isSpace();
            const bool beforeText = i + length < paragraph.size() && !paragraph.at(i + length).isSpace();
            const auto mark = [&](const QString &marker) {
                if (afterText && open.contains(marker))
                    open.removeOne(marker);
                else if (beforeText)
                    open.append(marker);
            };
            if (length >= 2)
                mark(QStringLiteral("**"));
            if (length % 2 == 1)
                mark(QStringLiteral("*"));
            i += length;
            continue;
        }
        ++i;
    }
    QString closers;
    for (auto marker = open.crbegin(); marker != open.crend(); ++marker)
        closers += *marker;
    return closers;
}

} // namespace

QString completePartial(const QString &markdown)
{
    QString text = markdown;
    const Fences fences = fencesOf(text);
    if (fences.open)
        return text.endsWith(u'\n') ? text + QStringLiteral("```") : text + QStringLiteral("\n```");
    holdBackOpenLink(text);
    holdBackTrailingMarkers(text);
    const qsizetype blank = text.lastIndexOf(QStringLiteral("\n\n"));
    const qsizetype paragraphStart = std::max(blank < 0 ? qsizetype(0) : blank + 2, fences.afterLast);
    if (paragraphStart >= text.size())
        return text;
    const QString closers = closersOf(QStringView(text).mid(paragraphStart));
    if (closers.isEmpty())
        return text;
    // A closing marker must follow the text directly.
    while (!text.isEmpty() && text.back().isSpace())
        text.chop(1);
    return text + closers;
}

QString html(const QString &markdown, const Style &style)
{
    QTextDocument document;
    document.setDefaultFont(style.font);
    document.setMarkdown(markdown, QTextDocument::MarkdownDialectGitHub);

    struct Link
    {
        int position;
        int length;
        QString text;
        QTextCharFormat format;
    };
    QList<Link> links;
    for (QTextBlock block = document.begin(); block.isValid(); block = block.next()) {
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            const QTextFragment fragment = it.fragment();
            if (fragment.isValid() && fragment.charFormat().isAnchor())
                links.append({fragment.position(), fragment.length(), fragment.text(), fragment.charFormat()});
        }
    }

    // From the end, so that the padded chips don't move the links before them.
    QTextCursor cursor(&document);
    for (auto link = links.crbegin(); link != links.crend(); ++link) {
        cursor.setPosition(link->position);
        cursor.setPosition(link->position + link->length, QTextCursor::KeepAnchor);
        QTextCharFormat format = link->format;
        format.setFontUnderline(false);
        if (!citationNumber(format.anchorHref())) {
            format.setForeground(style.link);
            cursor.setCharFormat(format);
            continue;
        }
        format.setForeground(style.citationText);
        format.setBackground(style.citationBackground);
        format.setFontWeight(QFont::DemiBold);
        if (style.font.pixelSize() > 0)
            format.setProperty(QTextFormat::FontPixelSize, std::max(8, style.font.pixelSize() - 2));
        // Narrow no-break spaces pad the number inside its chip.
        cursor.insertText(QStringLiteral("\u202f%1\u202f").arg(link->text), format);
    }
    // Rich text underlines every link unless told otherwise; chips and
    // links here are told apart by colour instead.
    return document.toHtml().replace(QStringLiteral("<a href="), QStringLiteral("<a style=\"text-decoration: none\" href="));
}

} // namespace AnswerMarkup
