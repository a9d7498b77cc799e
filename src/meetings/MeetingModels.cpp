#include "meetings/MeetingModels.h"

#include "core/Format.h"

QString speakerRawValue(Speaker speaker)
{
    return speaker == Speaker::me ? QStringLiteral("me") : QStringLiteral("them");
}

Speaker speakerFromRawValue(const QString &raw)
{
    return raw == QLatin1String("me") ? Speaker::me : Speaker::them;
}

QString speakerLabel(Speaker speaker)
{
    return speaker == Speaker::me ? QStringLiteral("You") : QStringLiteral("Them");
}

QString citationKindRawValue(Citation::Kind kind)
{
    switch (kind) {
    case Citation::Kind::file:
        return QStringLiteral("file");
    case Citation::Kind::note:
        return QStringLiteral("note");
    case Citation::Kind::transcript:
        return QStringLiteral("transcript");
    }
    return QStringLiteral("file");
}

std::optional<Citation::Kind> citationKindFromRawValue(const QString &raw)
{
    for (Citation::Kind kind : {Citation::Kind::file, Citation::Kind::note, Citation::Kind::transcript}) {
        if (citationKindRawValue(kind) == raw)
            return kind;
    }
    return std::nullopt;
}

Citation Citation::decode(const JSONDecoder &decoder)
{
    const QString kindText = decoder.field<QString>(QStringLiteral("kind"));
    const auto kind = citationKindFromRawValue(kindText);
    if (!kind)
        throw JSONDecodingError(QStringLiteral("unknown citation kind \"%1\"").arg(kindText));
    return {*kind, decoder.field<QString>(QStringLiteral("ownerID")), decoder.field<QString>(QStringLiteral("title")),
            decoder.field<QString>(QStringLiteral("detail")), decoder.field<QString>(QStringLiteral("excerpt"))};
}

JSONValue Citation::json() const
{
    return JSONValue::object({{QStringLiteral("kind"), citationKindRawValue(kind)},
                              {QStringLiteral("ownerID"), ownerID},
                              {QStringLiteral("title"), title},
                              {QStringLiteral("detail"), detail},
                              {QStringLiteral("excerpt"), excerpt}});
}

size_t qHash(const Citation &citation, size_t seed)
{
    return qHashMulti(seed, int(citation.kind), citation.ownerID, citation.title, citation.detail, citation.excerpt);
}

EnhancedNotes::Bullet EnhancedNotes::Bullet::decode(const JSONDecoder &decoder)
{
    return {decoder.field<QString>(QStringLiteral("text")), decoder.field<QString>(QStringLiteral("origin"))};
}

EnhancedNotes::Section EnhancedNotes::Section::decode(const JSONDecoder &decoder)
{
    return {decoder.field<QString>(QStringLiteral("heading")), decoder.field<QList<Bullet>>(QStringLiteral("bullets"))};
}

EnhancedNotes::ActionItem EnhancedNotes::ActionItem::decode(const JSONDecoder &decoder)
{
    return {decoder.field<QString>(QStringLiteral("task")), decoder.field<QString>(QStringLiteral("owner")),
            decoder.field<QString>(QStringLiteral("due"))};
}

EnhancedNotes EnhancedNotes::decode(const JSONDecoder &decoder)
{
    return {decoder.field<QString>(QStringLiteral("title")), decoder.field<QString>(QStringLiteral("summary")),
            decoder.field<QList<Section>>(QStringLiteral("sections")),
            decoder.field<QStringList>(QStringLiteral("decisions")),
            decoder.field<QList<ActionItem>>(QStringLiteral("actionItems"))};
}

EnhancedNotes EnhancedNotes::fromJSON(const QByteArray &utf8)
{
    return decodeJSON<EnhancedNotes>(JSONValue::parse(utf8), QString());
}

JSONValue EnhancedNotes::json() const
{
    JSONValue::Array sectionValues;
    for (const Section &section : sections) {
        JSONValue::Array bulletValues;
        for (const Bullet &bullet : section.bullets)
            bulletValues.append(JSONValue::object(
                {{QStringLiteral("text"), bullet.text}, {QStringLiteral("origin"), bullet.origin}}));
        sectionValues.append(
            JSONValue::object({{QStringLiteral("heading"), section.heading}, {QStringLiteral("bullets"), bulletValues}}));
    }
    JSONValue::Array itemValues;
    for (const ActionItem &item : actionItems)
        itemValues.append(JSONValue::object({{QStringLiteral("task"), item.task},
                                             {QStringLiteral("owner"), item.owner},
                                             {QStringLiteral("due"), item.due}}));
    return JSONValue::object({{QStringLiteral("title"), title},
                              {QStringLiteral("summary"), summary},
                              {QStringLiteral("sections"), sectionValues},
                              {QStringLiteral("decisions"), JSONValue::strings(decisions)},
                              {QStringLiteral("actionItems"), itemValues}});
}

QString EnhancedNotes::markdown(const QDateTime &date, const QLocale &locale) const
{
    QStringList lines{QStringLiteral("# ") + title, QString(),
                      u'_' + Format::completeDate(date, locale) + QStringLiteral(", ")
                          + Format::shortTime(date, locale) + u'_',
                      QString()};
    if (!summary.isEmpty())
        lines << summary << QString();
    for (const Section &section : sections) {
        // A section without points would be a heading over nothing.
        if (section.bullets.isEmpty())
            continue;
        lines << QStringLiteral("## ") + section.heading;
        for (const Bullet &bullet : section.bullets)
            lines << QStringLiteral("- ") + bullet.text;
        lines << QString();
    }
    if (!decisions.isEmpty()) {
        lines << QStringLiteral("## Decisions");
        for (const QString &decision : decisions)
            lines << QStringLiteral("- ") + decision;
        lines << QString();
    }
    if (!actionItems.isEmpty()) {
        lines << QStringLiteral("## Action items");
        for (const ActionItem &item : actionItems) {
            QString line = QStringLiteral("- [ ] ") + item.task;
            if (const QString owner = item.owner.trimmed(); !owner.isEmpty())
                line += QStringLiteral(" — ") + owner;
            if (const QString due = item.due.trimmed(); !due.isEmpty())
                line += QStringLiteral(" (due ") + due + u')';
            lines << line;
        }
        lines << QString();
    }
    return lines.join(u'\n').trimmed() + u'\n';
}

QString Meeting::displayTitle() const
{
    return title.isEmpty() ? QStringLiteral("Untitled meeting") : title;
}
