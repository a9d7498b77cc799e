// The records every meeting feature passes around: a meeting, its transcript
// segments, the answers given during a call, the sources they cite and the
// notes Claude writes afterwards. Plain values with field-wise equality.
#pragma once

#include "claude/JSONDecoder.h"
#include "meetings/Speaker.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

QString speakerRawValue(Speaker speaker);
// "me" is me; every other text, the empty one included, is them.
Speaker speakerFromRawValue(const QString &raw);
// "You" or "Them".
QString speakerLabel(Speaker speaker);

struct TranscriptSegment
{
    qint64 id = 0; // the row id; 0 until stored
    QString meetingID;
    Speaker speaker = Speaker::them;
    double start = 0; // seconds from the start of that speaker's stream
    double end = 0;
    QString text;

    friend bool operator==(const TranscriptSegment &, const TranscriptSegment &) = default;
};

// A source shown to the user: a file, a meeting's notes or its transcript.
struct Citation
{
    enum class Kind { file, note, transcript };

    Kind kind = Kind::file;
    QString ownerID{}; // a file id in decimal, else a meeting id
    QString title{};
    QString detail{}; // the second line
    QString excerpt{};

    static constexpr const char *typeName = "Citation";
    static Citation decode(const JSONDecoder &decoder);
    JSONValue json() const;

    friend bool operator==(const Citation &, const Citation &) = default;
};
size_t qHash(const Citation &citation, size_t seed = 0);
// The text of a kind, which is also its passages' owner type.
QString citationKindRawValue(Citation::Kind kind);
std::optional<Citation::Kind> citationKindFromRawValue(const QString &raw);

// An answer given while a meeting ran.
struct LiveAnswer
{
    QString id; // UUID
    QString meetingID;
    QString question;
    QString answer;
    QList<Citation> citations; // in answer order
    QDateTime created;

    friend bool operator==(const LiveAnswer &, const LiveAnswer &) = default;
};

// The notes Claude writes for a meeting. Its JSON keys are the field names
// and every one of them must be there: a document missing one doesn't decode.
struct EnhancedNotes
{
    struct Bullet
    {
        QString text;
        QString origin; // "user" or "ai": whose point it is
        static constexpr const char *typeName = "Bullet";
        static Bullet decode(const JSONDecoder &decoder);
        friend bool operator==(const Bullet &, const Bullet &) = default;
    };
    struct Section
    {
        QString heading;
        QList<Bullet> bullets;
        static constexpr const char *typeName = "Section";
        static Section decode(const JSONDecoder &decoder);
        friend bool operator==(const Section &, const Section &) = default;
    };
    struct ActionItem
    {
        QString task;
        QString owner; // may be empty
        QString due; // may be empty
        static constexpr const char *typeName = "ActionItem";
        static ActionItem decode(const JSONDecoder &decoder);
        friend bool operator==(const ActionItem &, const ActionItem &) = default;
    };

    QString title;
    QString summary;
    QList<Section> sections;
    QStringList decisions;
    QList<ActionItem> actionItems;

    static constexpr const char *typeName = "EnhancedNotes";
    static EnhancedNotes decode(const JSONDecoder &decoder);
    // Throws JSONDecodingError or JSONError.
    static EnhancedNotes fromJSON(const QByteArray &utf8);
    JSONValue json() const;

    // The notes as Markdown, for export, the search index and Ask; the date
    // is the meeting's start.
    QString markdown(const QDateTime &date, const QLocale &locale) const;

    friend bool operator==(const EnhancedNotes &, const EnhancedNotes &) = default;
};

struct Meeting
{
    QString id; // UUID
    QString title; // empty until the user or Claude gives one
    QDateTime started;
    std::optional<QDateTime> ended;
    QString userNotes;
    std::optional<EnhancedNotes> enhanced;
    std::optional<QDateTime> enhancedAt;
    std::optional<QString> locale; // of transcription, at creation

    // The title, or "Untitled meeting" while it has none.
    QString displayTitle() const;

    friend bool operator==(const Meeting &, const Meeting &) = default;
};
