// How an answer of Ask reads on screen: its Markdown as rich text, with the
// source links drawn as small numbered chips, and text that is still
// streaming in made safe to render before it is complete.
#pragma once

#include <QColor>
#include <QFont>
#include <QString>

namespace AnswerMarkup {

struct Style
{
    QFont font;
    QColor citationBackground;
    QColor citationText;
    QColor link;

    friend bool operator==(const Style &, const Style &) = default;
};

// Markdown cut off in mid-stream, completed just enough to render cleanly:
// an open code fence is closed, open bold, italics and code spans are
// closed, markers with nothing after them yet are held back, and so is a
// link or source mark whose brackets haven't closed. Finished text renders
// as it stands.
QString completePartial(const QString &markdown);

// The Markdown as rich text for a text item: links to larder-cite:// become
// chips holding their number, other links take the link colour.
QString html(const QString &markdown, const Style &style);

} // namespace AnswerMarkup
