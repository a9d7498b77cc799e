#include "meetings/MeetingText.h"

#include <QTimeZone>

#include <algorithm>
#include <cmath>

namespace {

// A run may take segments that start up to this long after its first one.
constexpr double runSpan = 90.0;

QString clockText(qint64 total, bool padFirstField)
{
    const qint64 hours = total / 3600;
    const qint64 minutes = (total % 3600) / 60;
    const qint64 seconds = total % 60;
    if (hours > 0)
        return QString::asprintf("%lld:%02lld:%02lld", hours, minutes, seconds);
    return padFirstField ? QString::asprintf("%02lld:%02lld", minutes, seconds)
                         : QString::asprintf("%lld:%02lld", minutes, seconds);
}

// Seconds that no clock text can hold are read as none.
qint64 wholeSeconds(double seconds)
{
    if (!std::isfinite(seconds) || seconds <= 0)
        return 0;
    return qint64(std::min(seconds, 1e15));
}

} // namespace

QString transcriptText(QList<TranscriptSegment> segments)
{
    std::stable_sort(segments.begin(), segments.end(),
                     [](const TranscriptSegment &a, const TranscriptSegment &b) { return a.start < b.start; });
    QStringList lines;
    struct Run
    {
        Speaker speaker;
        double start;
        QString text;
    };
    std::optional<Run> run;
    const auto close = [&] {
        if (run)
            lines.append(u'[' + timestampText(run->start) + QStringLiteral("] ") + speakerLabel(run->speaker)
                         + QStringLiteral(": ") + run->text);
    };
    for (const TranscriptSegment &segment : std::as_const(segments)) {
        const QString text = segment.text.trimmed();
        if (text.isEmpty())
            continue;
        if (run && run->speaker == segment.speaker && segment.start - run->start < runSpan) {
            run->text += u' ' + text;
            continue;
        }
        close();
        run = Run{segment.speaker, segment.start, text};
    }
    close();
    return lines.join(u'\n');
}

QString timestampText(double seconds)
{
    return clockText(wholeSeconds(seconds), true);
}

QString durationText(double seconds)
{
    return clockText(wholeSeconds(std::isfinite(seconds) ? std::round(seconds) : 0), false);
}

QString relativeDateText(const std::optional<QDateTime> &date, const QDateTime &now, const QLocale &locale)
{
    if (!date)
        return QStringLiteral("—");
    const QDateTime local = date->toTimeZone(now.timeZone());
    const QDate day = local.date();
    if (day == now.date())
        return QStringLiteral("Today, ") + Format::shortTime(local, locale);
    if (day == now.date().addDays(-1))
        return QStringLiteral("Yesterday, ") + Format::shortTime(local, locale);
    const qint64 wholeDays = local.secsTo(now) / 86400;
    if (wholeDays < 7)
        return locale.toString(local, QStringLiteral("dddd")) + u' ' + Format::shortTime(local, locale);
    return Format::date(local, locale);
}

QString meetingMarkdown(const Meeting &meeting, const QList<TranscriptSegment> &segments, const QLocale &locale)
{
    if (meeting.enhanced)
        return meeting.enhanced->markdown(meeting.started, locale);
    QString text = QStringLiteral("# ") + meeting.displayTitle() + QStringLiteral("\n\n_")
        + Format::completeDate(meeting.started, locale) + QStringLiteral(", ")
        + Format::shortTime(meeting.started, locale) + QStringLiteral("_\n\n");
    if (!meeting.userNotes.isEmpty())
        text += meeting.userNotes + QStringLiteral("\n\n");
    if (!segments.isEmpty())
        text += QStringLiteral("## Transcript\n\n") + transcriptText(segments) + u'\n';
    return text;
}

QSet<QString> echoTokens(const QString &text)
{
    QSet<QString> tokens;
    QString piece;
    const auto close = [&] {
        if (piece.size() > 1)
            tokens.insert(piece);
        piece.clear();
    };
    for (const QChar c : text.toLower()) {
        if (c.isLetterOrNumber())
            piece.append(c);
        else
            close();
    }
    close();
    return tokens;
}
