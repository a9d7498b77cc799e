#include "session/MeetingSession.h"

#include "ask/LibraryRetriever.h"
#include "claude/ClaudeClient.h"
#include "core/AppSettings.h"
#include "core/Format.h"
#include "meetings/MeetingText.h"
#include "session/LiveAnswerer.h"
#include "session/MeetingsModel.h"
#include "session/NoteEnhancer.h"
#include "session/QuestionSpotting.h"

#include <QJsonDocument>
#include <QSaveFile>

namespace {

using namespace Qt::StringLiterals;

QVariant optionalDate(const std::optional<QDateTime> &date)
{
    return date ? QVariant(*date) : QVariant();
}

QVariant variantOf(const JSONValue &value)
{
    return QJsonDocument::fromJson(value.serialized()).toVariant();
}

} // namespace

MeetingSession::MeetingSession(const Meeting &meeting, MeetingsModel *owner)
    : QObject(owner)
    , _meeting(meeting)
    , _owner(owner)
    , m_saveDelay(new Debouncer(saveDelayMs, this))
    , m_threads(std::make_unique<CallThreads>())
{
    m_saveDelay->setObjectName(u"saveDelay"_s);
    const QString model = owner->settings().smartModel();
    m_enhancer = std::make_unique<NoteEnhancer>(owner->claude(), model);
    m_answerer = std::make_unique<LiveAnswerer>(owner->claude(), model,
                                                LibraryRetriever(owner->index(), owner->store()));
    try {
        _segments = owner->store().segments(meeting.id);
    } catch (const std::exception &) {
    }
    try {
        _answers = owner->store().liveAnswers(meeting.id);
    } catch (const std::exception &) {
    }
    _tab = meeting.enhanced || _segments.isEmpty() ? Tab::notes : Tab::transcript;
}

MeetingSession::~MeetingSession()
{
    m_calls.cancel();
    m_threads.reset();
}

void MeetingSession::setMeeting(const Meeting &meeting)
{
    if (_meeting == meeting)
        return;
    _meeting = meeting;
    Q_EMIT meetingChanged();
    Q_EMIT markdownTextChanged();
}

void MeetingSession::setTitle(const QString &title)
{
    if (_meeting.title == title)
        return;
    Meeting changed = _meeting;
    changed.title = title;
    setMeeting(changed);
    scheduleSave();
}

void MeetingSession::setUserNotes(const QString &notes)
{
    if (_meeting.userNotes == notes)
        return;
    Meeting changed = _meeting;
    changed.userNotes = notes;
    setMeeting(changed);
    scheduleSave();
}

QVariantMap MeetingSession::meetingValue() const
{
    return {{u"id"_s, _meeting.id},
            {u"title"_s, _meeting.title},
            {u"displayTitle"_s, _meeting.displayTitle()},
            {u"started"_s, _meeting.started},
            {u"ended"_s, optionalDate(_meeting.ended)},
            {u"userNotes"_s, _meeting.userNotes},
            {u"enhanced"_s, _meeting.enhanced ? variantOf(_meeting.enhanced->json()) : QVariant()},
            {u"enhancedAt"_s, optionalDate(_meeting.enhancedAt)}};
}

QVariantList MeetingSession::segmentValues() const
{
    QVariantList values;
    for (const TranscriptSegment &segment : _segments)
        values.append(QVariantMap{{u"id"_s, segment.id},
                                  {u"speaker"_s, speakerRawValue(segment.speaker)},
                                  {u"speakerLabel"_s, speakerLabel(segment.speaker)},
                                  {u"start"_s, segment.start},
                                  {u"end"_s, segment.end},
                                  {u"timestamp"_s, timestampText(segment.start)},
                                  {u"text"_s, segment.text}});
    return values;
}

QVariantList MeetingSession::answerValues() const
{
    QVariantList values;
    for (const LiveAnswer &answer : _answers) {
        QVariantList citations;
        for (const Citation &citation : answer.citations)
            citations.append(variantOf(citation.json()));
        values.append(QVariantMap{{u"id"_s, answer.id},
                                  {u"question"_s, answer.question},
                                  {u"answer"_s, answer.answer},
                                  {u"citations"_s, citations},
                                  {u"created"_s, answer.created}});
    }
    return values;
}

void MeetingSession::setEnhancing(bool enhancing)
{
    if (_enhancing == enhancing)
        return;
    _enhancing = enhancing;
    Q_EMIT enhancingChanged();
}

void MeetingSession::setAnswering(const std::optional<QString> &question)
{
    if (_answering == question)
        return;
    _answering = question;
    Q_EMIT answeringChanged();
}

void MeetingSession::setEnhanceError(const std::optional<QString> &error)
{
    if (_enhanceError == error)
        return;
    _enhanceError = error;
    Q_EMIT enhanceErrorChanged();
}

void MeetingSession::setTab(Tab tab)
{
    if (_tab == tab)
        return;
    _tab = tab;
    Q_EMIT tabChanged();
}

QString MeetingSession::tabTitle(Tab tab)
{
    switch (tab) {
    case Tab::notes: return u"Notes"_s;
    case Tab::transcript: return u"Transcript"_s;
    case Tab::answers: break;
    }
    return u"Live answers"_s;
}

bool MeetingSession::isRecording() const
{
    if (!_owner)
        return false;
    const MeetingsModel::RecorderStatus &recorder = _owner->recorderStatus();
    return recorder.state != MeetingsModel::RecorderState::idle && recorder.meetingID == _meeting.id;
}

QString MeetingSession::markdownText() const
{
    return meetingMarkdown(_meeting, _segments, Format::locale());
}

void MeetingSession::handle(const TranscriptSegment &segment)
{
    _segments.append(segment);
    Q_EMIT segmentsChanged();
    if (!_meeting.enhanced)
        Q_EMIT markdownTextChanged();
    if (!_owner || !_owner->settings().liveAnswersEnabled() || !_owner->hasKey())
        return;
    const QStringList sentences = QuestionSpotting::sentences(segment.text);
    // The latest question of the segment, and only that one.
    auto question = std::find_if(sentences.crbegin(), sentences.crend(), QuestionSpotting::isQuestion);
    if (question == sentences.crend() || !takeQuestion(*question))
        return;
    _questionQueue.append(*question);
    Q_EMIT questionTaken(*question);
    if (!_answering)
        drain();
}

bool MeetingSession::takeQuestion(const QString &sentence)
{
    const QString lowered = sentence.toLower();
    const QSet<QString> tokens = echoTokens(lowered);
    for (const QString &recent : std::as_const(_recentQuestions)) {
        // Both speakers' transcripts may carry the same question, and people
        // repeat themselves: more than three words in common is the same
        // question again.
        if (echoTokens(recent).intersect(tokens).size() > 3)
            return false;
    }
    _recentQuestions.append(lowered);
    while (_recentQuestions.size() > recentQuestionLimit)
        _recentQuestions.removeFirst();
    return true;
}

void MeetingSession::drain()
{
    if (_questionQueue.isEmpty()) {
        setAnswering(std::nullopt);
        return;
    }
    const QString question = _questionQueue.takeFirst();
    setAnswering(question);
    const LiveAnswerer *answerer = m_answerer.get();
    const QString meetingID = _meeting.id;
    const CancellationToken token = m_calls;
    m_threads->start([this, answerer, question, meetingID, token] {
        std::optional<LiveAnswer> answer;
        try {
            answer = answerer->answer(question, meetingID, token);
        } catch (const std::exception &) {
            // A question that can't be answered is forgotten: the call goes on.
        }
        Tasks::deliver(this, token, [this, answer] { answerArrived(answer); });
    });
}

void MeetingSession::answerArrived(const std::optional<LiveAnswer> &answer)
{
    if (answer) {
        _answers.append(*answer);
        Q_EMIT answersChanged();
        if (_owner) {
            try {
                _owner->store().save(*answer);
            } catch (const std::exception &) {
            }
        }
    }
    drain();
}

void MeetingSession::scheduleSave()
{
    m_saveDelay->call([this](const CancellationToken &) { saveNow(); });
}

void MeetingSession::saveNow()
{
    m_saveDelay->cancel();
    if (!_owner)
        return;
    try {
        _owner->store().update(_meeting);
    } catch (const std::exception &) {
    }
    _owner->replaceInList(_meeting);
}

void MeetingSession::beginRecording(const QDateTime &at)
{
    if (_segments.isEmpty()) {
        Meeting changed = _meeting;
        changed.started = at;
        setMeeting(changed);
        if (_owner) {
            try {
                _owner->store().update(_meeting);
                _owner->store().setStarted(_meeting.id, at);
            } catch (const std::exception &) {
            }
        }
    }
    setTab(Tab::transcript);
}

void MeetingSession::indexPassages()
{
    if (!_owner)
        return;
    try {
        _owner->store().indexPassages(_meeting, Format::locale());
    } catch (const std::exception &) {
        // The meeting stays out of search until it is indexed again.
    }
}

void MeetingSession::finish(Enhancement enhancement, std::function<void()> done)
{
    Meeting changed = _meeting;
    changed.ended = QDateTime::currentDateTime();
    setMeeting(changed);
    saveNow();
    indexPassages();
    const bool nothingToWrite = _segments.isEmpty() && _meeting.userNotes.isEmpty();
    if (enhancement == Enhancement::skip || nothingToWrite) {
        if (done)
            done();
        return;
    }
    if (done)
        connect(this, &MeetingSession::enhanceEnded, this, std::move(done), Qt::SingleShotConnection);
    enhance();
}

void MeetingSession::enhance()
{
    if (_enhancing)
        return;
    setEnhancing(true);
    setEnhanceError(std::nullopt);
    saveNow();
    const NoteEnhancer *enhancer = m_enhancer.get();
    const Meeting meeting = _meeting;
    const QList<TranscriptSegment> segments = _segments;
    const CancellationToken token = m_calls;
    m_threads->start([this, enhancer, meeting, segments, token] {
        try {
            const EnhancedNotes notes = enhancer->enhance(meeting, segments, token);
            Tasks::deliver(this, token, [this, notes] { notesArrived(notes); });
        } catch (const CancellationError &) {
        } catch (const DescribedError &error) {
            Tasks::deliver(this, token, [this, text = error.description()] { enhanceFailed(text); });
        } catch (const std::exception &error) {
            Tasks::deliver(this, token, [this, text = QString::fromLocal8Bit(error.what())] { enhanceFailed(text); });
        }
    });
}

void MeetingSession::notesArrived(const EnhancedNotes &notes)
{
    bool stillThere = false;
    try {
        stillThere = _owner && _owner->store().meeting(_meeting.id).has_value();
    } catch (const std::exception &) {
    }
    if (!stillThere) {
        // Writing the notes now would bring back passages of a meeting that
        // is gone.
        enhanceFailed(u"This meeting was deleted while its notes were being written, so they weren't saved."_s);
        return;
    }
    Meeting changed = _meeting;
    adoptNotes(changed, notes, QDateTime::currentDateTime());
    setMeeting(changed);
    saveNow();
    indexPassages();
    setTab(Tab::notes);
    setEnhancing(false);
    Q_EMIT enhanceEnded();
}

void MeetingSession::enhanceFailed(const QString &error)
{
    setEnhanceError(error);
    setEnhancing(false);
    Q_EMIT enhanceEnded();
}

QString MeetingSession::saveMarkdown(const QString &path) const
{
    QSaveFile file(path);
    if (file.open(QIODevice::WriteOnly) && file.write(markdownText().toUtf8()) >= 0 && file.commit())
        return QString();
    return u"Couldn't save “%1”: %2. Choose a folder you can write to."_s.arg(path, file.errorString());
}
