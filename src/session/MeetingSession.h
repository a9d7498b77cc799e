// The open meeting: its record, transcript and live answers, the debounced
// saving of what the user types, the queue of questions heard during the
// call (answered one at a time, in the order they were asked) and the notes
// Claude writes afterwards. Main thread only; the Claude calls run on
// threads of their own and hand their results back here.
#pragma once

#include "core/Tasks.h"
#include "meetings/MeetingModels.h"

#include <QObject>
#include <QPointer>
#include <QVariantList>

class LiveAnswerer;
class MeetingsModel;
class NoteEnhancer;

class MeetingSession : public QObject
{
    Q_OBJECT
    Q_PROPERTY(QString meetingID READ meetingID CONSTANT)
    Q_PROPERTY(QString title READ title WRITE setTitle NOTIFY meetingChanged)
    Q_PROPERTY(QString displayTitle READ displayTitle NOTIFY meetingChanged)
    Q_PROPERTY(QString userNotes READ userNotes WRITE setUserNotes NOTIFY meetingChanged)
    Q_PROPERTY(QVariantMap meeting READ meetingValue NOTIFY meetingChanged)
    Q_PROPERTY(QVariantList segments READ segmentValues NOTIFY segmentsChanged)
    Q_PROPERTY(QVariantList answers READ answerValues NOTIFY answersChanged)
    Q_PROPERTY(bool enhancing READ enhancing NOTIFY enhancingChanged)
    Q_PROPERTY(QString answering READ answeringText NOTIFY answeringChanged)
    Q_PROPERTY(QString enhanceError READ enhanceErrorText NOTIFY enhanceErrorChanged)
    Q_PROPERTY(Tab tab READ tab WRITE setTab NOTIFY tabChanged)
    Q_PROPERTY(bool isRecording READ isRecording NOTIFY isRecordingChanged)
    Q_PROPERTY(QString markdownText READ markdownText NOTIFY markdownTextChanged)

public:
    // The panes of a meeting, in order.
    enum class Tab { notes, transcript, answers };
    Q_ENUM(Tab)

    // Whether the end of a recording goes on to write the notes.
    enum class Enhancement { skip, write };

    // How long the user's typing rests before it is saved.
    static constexpr int saveDelayMs = 600;
    // How many questions already taken are remembered, to drop repeats.
    static constexpr int recentQuestionLimit = 12;

    // Loads the transcript and answers through the owner; a failed load
    // gives empty lists.
    MeetingSession(const Meeting &meeting, MeetingsModel *owner);
    // Cancels the calls still running and waits for their threads.
    ~MeetingSession() override;

    const Meeting &meeting() const { return _meeting; }
    QString meetingID() const { return _meeting.id; }
    QString title() const { return _meeting.title; }
    QString displayTitle() const { return _meeting.displayTitle(); }
    QString userNotes() const { return _meeting.userNotes; }
    // The user renames the meeting or types notes; both are saved 0.6 s
    // after the last change.
    void setTitle(const QString &title);
    void setUserNotes(const QString &notes);
    QVariantMap meetingValue() const;

    const QList<TranscriptSegment> &segments() const { return _segments; }
    QVariantList segmentValues() const;
    const QList<LiveAnswer> &answers() const { return _answers; }
    QVariantList answerValues() const;
    bool enhancing() const { return _enhancing; }
    const std::optional<QString> &answering() const { return _answering; }
    QString answeringText() const { return _answering.value_or(QString()); }
    const std::optional<QString> &enhanceError() const { return _enhanceError; }
    QString enhanceErrorText() const { return _enhanceError.value_or(QString()); }
    Tab tab() const { return _tab; }
    void setTab(Tab tab);
    // "Notes", "Transcript", "Live answers".
    Q_INVOKABLE static QString tabTitle(Tab tab);
    // Questions heard and waiting for their answer, oldest first.
    const QStringList &questionQueue() const { return _questionQueue; }
    // The owner's recorder is recording this meeting.
    bool isRecording() const;
    // The meeting as Markdown: Claude's notes when there are some, else the
    // title, the date, the user's notes and the transcript.
    QString markdownText() const;

    // A segment of this meeting's recording: it joins the transcript, and its
    // latest question, if it has one that wasn't just asked, joins the queue
    // of questions to answer (with live answers on and a key).
    void handle(const TranscriptSegment &segment);
    void scheduleSave();
    // Writes the record now, replacing a pending debounced save, and shows
    // the new title in the owner's list. Failures are ignored: recording
    // comes first.
    Q_INVOKABLE void saveNow();
    // A recording of this meeting began: the first one sets the start.
    void beginRecording(const QDateTime &at);
    // The recording ended: the end is set, the meeting saved and made
    // findable, and the notes written when asked and there is something to
    // write up. done runs when all of that is over.
    void finish(Enhancement enhancement, std::function<void()> done = {});
    // Has Claude write the notes. Pressed while a run goes on, it does
    // nothing; a failure leaves the meeting as it was and says why in
    // enhanceError.
    Q_INVOKABLE void enhance();
    // "Save as Markdown…": writes markdownText to the file. Returns the
    // failure worded for the user, or nothing.
    Q_INVOKABLE QString saveMarkdown(const QString &path) const;

Q_SIGNALS:
    void meetingChanged();
    void segmentsChanged();
    void answersChanged();
    void enhancingChanged();
    void answeringChanged();
    void enhanceErrorChanged();
    void tabChanged();
    void isRecordingChanged();
    void markdownTextChanged();
    // An enhancement run ended, with notes or with an error.
    void enhanceEnded();
    // A question was heard and joined the queue of questions to answer.
    void questionTaken(const QString &question);

private:
    friend class MeetingsModel;

    void setMeeting(const Meeting &meeting);
    void setEnhancing(bool enhancing);
    void setAnswering(const std::optional<QString> &question);
    void setEnhanceError(const std::optional<QString> &error);
    // Whether a spotted question is new; remembers it when it is.
    bool takeQuestion(const QString &sentence);
    // Answers the queued questions one after another until none is left.
    void drain();
    void answerArrived(const std::optional<LiveAnswer> &answer);
    void notesArrived(const EnhancedNotes &notes);
    void enhanceFailed(const QString &error);
    void indexPassages();

    Meeting _meeting;
    QList<TranscriptSegment> _segments;
    QList<LiveAnswer> _answers;
    bool _enhancing = false;
    std::optional<QString> _answering;
    std::optional<QString> _enhanceError;
    Tab _tab = Tab::notes;
    QPointer<MeetingsModel> _owner;
    std::unique_ptr<NoteEnhancer> m_enhancer;
    std::unique_ptr<LiveAnswerer> m_answerer;
    Debouncer *m_saveDelay;
    QStringList _questionQueue;
    QStringList _recentQuestions;
    CancellationToken m_calls; // cancels the calls still running when the session goes
    std::unique_ptr<CallThreads> m_threads;
};
