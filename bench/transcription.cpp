// Word error rate and real-time factor of live transcription on a few
// minutes of espeak-ng speech in several voices and speeds, beside Debian's
// pocketsphinx_continuous on the same sentences in the same run.
//
// The sentences play as one stream with a second of silence between them,
// fed in 0.1 s slices as a capture delivers them, once with a running guess
// every 0.5 s and once with final results only, then once more with final
// results only while favouring a list of library words. Each final result counts for
// the sentence its time range overlaps most. Prints per sentence and overall:
// WER (goal: at most 15 %; scored after the usual normalisation of both
// sides, and as written beside it), RTF (goal: at most 0.3 with guesses), the time a
// final result takes once its closing pause has arrived (goal: at most
// 0.5 s), and the peak memory of the process (goal: under 300 MB).
//
//   bench_transcription [--finals-only]   (the word error rate of final
//                                           results alone, without the reference)
#include "meetings/SpeechStream.h"
#include "platform/MoonshineEngine.h"
#include "support/SpeechFixtures.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <algorithm>
#include <cstdio>

namespace {

const char *const sentences[] = {
    "Good morning everyone, thanks for joining the call today.",
    "Let us start with a quick review of last week's action items.",
    "The design team finished the new onboarding screens on Tuesday.",
    "We still need feedback from the sales team on the pricing page.",
    "Can you share the spreadsheet with the quarterly numbers?",
    "I will send the updated budget to finance before Friday.",
    "The customer asked whether we support single sign on.",
    "Our release is planned for the second week of next month.",
    "Please book a meeting room for the workshop on Thursday.",
    "The server migration went well and nobody noticed any downtime.",
    "We should write down the decision in the project notes.",
    "Maria will follow up with the legal team about the contract.",
    "How many people signed up for the beta program so far?",
    "The support queue is shorter than it was a month ago.",
    "Let us move the marketing review to the afternoon.",
    "I think the new search feature is ready for testing.",
    "Remember to update the documentation before the launch.",
    "The invoice from the hosting provider arrived this morning.",
    "We need a volunteer to present the results at the town hall.",
    "Does anyone have questions about the hiring plan?",
    "The mobile app crashed twice on older phones last week.",
    "We agreed to keep the weekly meeting short and focused.",
    "Our biggest risk is the deadline for the security audit.",
    "Thanks again, and I will see you all next Monday.",
    "The office will be closed on the public holiday.",
    "Could you explain how the new billing system works?",
    "The team in Berlin will join the next planning session.",
    "I wrote a short summary of the customer interviews.",
    "Let us make sure the backup runs every night.",
    "We can discuss the travel budget at the end of the call.",
};

// Names and terms a team's library would hold, as the recorder can favour
// them: some are said in the sentences above, most are not.
const char *const libraryWords[] = {
    "Maria", "Berlin", "onboarding", "spreadsheet", "quarterly", "invoice", "hosting", "migration", "downtime",
    "beta", "billing", "backup", "audit", "hiring", "workshop", "pricing", "roadmap", "Kubernetes", "Jira",
    "Confluence", "Priya", "Tomasz", "Lisbon", "Acme", "retention", "churn", "payroll", "GDPR", "Figma",
    "Salesforce", "Okonkwo", "Helsinki", "dashboard", "invoicing", "procurement", "vendor", "latency", "rollout",
    "Zendesk", "Nadia", "Gdansk", "telemetry",
};

struct Voice
{
    const char *name;
    int wordsPerMinute;
};
const Voice voices[] = {{"en-us", 160}, {"en-gb", 150}, {"en-us+f3", 180}, {"en-us+m3", 200}, {"en-gb-x-rp", 140}, {"en-us+f2", 220}};

// How transcripts are compared: as written (lower case, punctuation other
// than hyphens and apostrophes dropped), or normalised the usual way for
// word error rates, the same on both sides: hyphenated words split, numbers
// up to twelve as words, common contractions spelled out, apostrophes gone.
enum class Scoring { asWritten, normalised };

QStringList words(const QString &text, Scoring scoring)
{
    if (scoring == Scoring::asWritten)
        return text.toLower().split(QRegularExpression(QStringLiteral("[^a-z0-9'-]+")), Qt::SkipEmptyParts);
    static const char *const numbers[] = {"zero", "one", "two", "three", "four", "five", "six", "seven", "eight", "nine",
                                          "ten", "eleven", "twelve"};
    // Only the unambiguous ones: "'s" and "'d" each stand for two words.
    static const std::pair<QRegularExpression, QString> contractions[] = {
        {QRegularExpression(QStringLiteral("\\bwon't\\b")), QStringLiteral("will not")},
        {QRegularExpression(QStringLiteral("\\bcan't\\b")), QStringLiteral("can not")},
        {QRegularExpression(QStringLiteral("\\blet's\\b")), QStringLiteral("let us")},
        {QRegularExpression(QStringLiteral("n't\\b")), QStringLiteral(" not")},
        {QRegularExpression(QStringLiteral("'ll\\b")), QStringLiteral(" will")},
        {QRegularExpression(QStringLiteral("'re\\b")), QStringLiteral(" are")},
        {QRegularExpression(QStringLiteral("'ve\\b")), QStringLiteral(" have")},
        {QRegularExpression(QStringLiteral("\\bi'm\\b")), QStringLiteral("i am")},
    };
    QString spelled = text.toLower().replace(QChar(0x2019), QLatin1Char('\''));
    for (const auto &[contraction, full] : contractions)
        spelled.replace(contraction, full);
    QStringList words;
    for (QString word : spelled.split(QRegularExpression(QStringLiteral("[^a-z0-9']+")), Qt::SkipEmptyParts)) {
        word.remove(QLatin1Char('\''));
        bool isNumber = false;
        const int n = word.toInt(&isNumber);
        if (isNumber && n >= 0 && n <= 12)
            word = QString::fromLatin1(numbers[n]);
        if (!word.isEmpty())
            words << word;
    }
    return words;
}

// Word-level edit distance.
int errors(const QStringList &reference, const QStringList &heard)
{
    std::vector<int> row(size_t(heard.size()) + 1);
    for (size_t j = 0; j < row.size(); ++j)
        row[j] = int(j);
    for (qsizetype i = 1; i <= reference.size(); ++i) {
        int diagonal = row[0];
        row[0] = int(i);
        for (qsizetype j = 1; j <= heard.size(); ++j) {
            const int above = row[size_t(j)];
            row[size_t(j)] = std::min({above + 1, row[size_t(j) - 1] + 1, diagonal + (reference[i - 1] == heard[j - 1] ? 0 : 1)});
            diagonal = above;
        }
    }
    return row.back();
}

struct Sentence
{
    QString text;
    Voice voice;
    double start = 0;
    double end = 0;
    QString wav;
};

struct Run
{
    double seconds = 0;
    std::vector<QString> heard; // per sentence
    std::vector<double> finalDelays;
    int guesses = 0;
};

Run transcribe(const SpeechEngine &engine, const std::vector<float> &audio, std::vector<Sentence> &sentenceList,
               double volatileInterval)
{
    Run run;
    run.heard.resize(sentenceList.size());
    UtteranceTimings timings;
    timings.volatileInterval = volatileInterval;
    QElapsedTimer sliceTimer;
    std::vector<TranscriptUpdate> finals;
    SpeechStream stream(engine, Speaker::them, [&](const TranscriptUpdate &u) {
        if (!u.isFinal) {
            ++run.guesses;
            return;
        }
        finals.push_back(u);
        run.finalDelays.push_back(sliceTimer.nsecsElapsed() / 1e9);
    }, timings);
    const size_t slice = SpeechEngine::sampleRate / 10;
    QElapsedTimer total;
    total.start();
    for (size_t at = 0; at < audio.size(); at += slice) {
        sliceTimer.start();
        stream.feed(std::span(audio).subspan(at, std::min(slice, audio.size() - at)));
    }
    sliceTimer.start();
    stream.finish();
    run.seconds = total.nsecsElapsed() / 1e9;
    for (const TranscriptUpdate &u : finals) {
        size_t best = 0;
        double bestOverlap = -1;
        for (size_t i = 0; i < sentenceList.size(); ++i) {
            const double overlap = std::min(u.end, sentenceList[i].end) - std::max(u.start, sentenceList[i].start);
            if (overlap > bestOverlap) {
                bestOverlap = overlap;
                best = i;
            }
        }
        run.heard[best] += QLatin1Char(' ') + u.text;
    }
    return run;
}

double peakMemoryMB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toDouble() / 1024.0;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const bool finalsOnlyRun = app.arguments().contains(QStringLiteral("--finals-only"));
    std::shared_ptr<MoonshineEngine> engine;
    try {
        engine = MoonshineEngine::load();
    } catch (const SpeechEngineError &error) {
        std::fprintf(stderr, "%s\n", qPrintable(error.description()));
        return 1;
    }

    QTemporaryDir folder;
    std::vector<Sentence> sentenceList;
    std::vector<float> audio;
    for (size_t i = 0; i < std::size(sentences); ++i) {
        Sentence sentence;
        sentence.text = QString::fromLatin1(sentences[i]);
        sentence.voice = voices[i % std::size(voices)];
        SpeechFixtures::Voice voice{QString::fromLatin1(sentence.voice.name), sentence.voice.wordsPerMinute};
        const std::vector<float> samples = SpeechFixtures::spokenSamples(sentence.text, voice);
        if (samples.empty()) {
            std::fprintf(stderr, "espeak-ng and sox are needed\n");
            return 1;
        }
        sentence.start = double(audio.size()) / SpeechEngine::sampleRate;
        audio.insert(audio.end(), samples.begin(), samples.end());
        sentence.end = double(audio.size()) / SpeechEngine::sampleRate;
        audio.resize(audio.size() + SpeechEngine::sampleRate, 0.0f);
        // The reference gets each sentence as a 16 kHz 16-bit WAV.
        sentence.wav = folder.filePath(QStringLiteral("sentence%1.wav").arg(i));
        SpeechFixtures::writeSpeech(folder.filePath(QStringLiteral("raw%1.wav").arg(i)), sentence.text, voice);
        QProcess::execute(QStringLiteral("sox"), {folder.filePath(QStringLiteral("raw%1.wav").arg(i)), QStringLiteral("-r"),
                                                  QStringLiteral("16000"), QStringLiteral("-b"), QStringLiteral("16"),
                                                  QStringLiteral("-c"), QStringLiteral("1"), sentence.wav});
        sentenceList.push_back(sentence);
    }
    const double audioSeconds = double(audio.size()) / SpeechEngine::sampleRate;

    const Run finalsOnly = transcribe(*engine, audio, sentenceList, 1e9);
    const Run withGuesses = finalsOnlyRun ? finalsOnly : transcribe(*engine, audio, sentenceList, 0.5);
    QStringList favoured;
    for (const char *word : libraryWords)
        favoured << QString::fromLatin1(word);
    engine->favourWords(favoured);
    const Run biased = transcribe(*engine, audio, sentenceList, 1e9);
    engine->favourWords({});

    // The reference, one process per sentence, as a shell loop would run it.
    const bool haveReference = !finalsOnlyRun && !QStandardPaths::findExecutable(QStringLiteral("pocketsphinx_continuous")).isEmpty();
    std::vector<QString> referenceHeard(sentenceList.size());
    double referenceSeconds = 0;
    if (haveReference) {
        QElapsedTimer timer;
        timer.start();
        for (size_t i = 0; i < sentenceList.size(); ++i) {
            QProcess process;
            process.start(QStringLiteral("pocketsphinx_continuous"),
                          {QStringLiteral("-infile"), sentenceList[i].wav, QStringLiteral("-logfn"), QStringLiteral("/dev/null")});
            process.waitForFinished(120000);
            referenceHeard[i] = QString::fromUtf8(process.readAllStandardOutput()).simplified();
        }
        referenceSeconds = timer.nsecsElapsed() / 1e9;
    }

    // Word errors of each transcript, per sentence and in all; the columns
    // per sentence are normalised.
    struct Score
    {
        int words = 0;
        int guessed = 0, final = 0, biased = 0, reference = 0;
        double percent(int errors) const { return words ? 100.0 * errors / words : 0.0; }
    };
    std::printf("%-4s %-14s %7s %7s %7s %7s  %s\n", "#", "voice", "WER", "WERfin", "favour", "sphinx",
                "heard (with guesses; favouring library words, where it differs)");
    Score scores[2];
    for (size_t i = 0; i < sentenceList.size(); ++i) {
        for (const Scoring scoring : {Scoring::asWritten, Scoring::normalised}) {
            Score sentence;
            const QStringList reference = words(sentenceList[i].text, scoring);
            sentence.words = int(reference.size());
            sentence.guessed = errors(reference, words(withGuesses.heard[i], scoring));
            sentence.final = errors(reference, words(finalsOnly.heard[i], scoring));
            sentence.biased = errors(reference, words(biased.heard[i], scoring));
            sentence.reference = errors(reference, words(referenceHeard[i], scoring));
            Score &total = scores[int(scoring)];
            total.words += sentence.words;
            total.guessed += sentence.guessed;
            total.final += sentence.final;
            total.biased += sentence.biased;
            total.reference += sentence.reference;
            if (scoring != Scoring::normalised)
                continue;
            std::printf("%-4zu %-10s%4d %6.1f%% %6.1f%% %6.1f%% %6.1f%%  %s\n", i + 1, sentenceList[i].voice.name,
                        sentenceList[i].voice.wordsPerMinute, sentence.percent(sentence.guessed),
                        sentence.percent(sentence.final), sentence.percent(sentence.biased),
                        haveReference ? sentence.percent(sentence.reference) : 0.0,
                        qPrintable(withGuesses.heard[i].simplified()));
            if (biased.heard[i].simplified() != finalsOnly.heard[i].simplified())
                std::printf("%58s%s\n", "", qPrintable(biased.heard[i].simplified()));
        }
    }
    const Score &written = scores[int(Scoring::asWritten)];
    int saidCount = 0;
    for (const char *word : libraryWords) {
        const QString lower = QString::fromLatin1(word).toLower();
        saidCount += std::any_of(sentenceList.begin(), sentenceList.end(), [&](const Sentence &sentence) {
            return words(sentence.text, Scoring::normalised).contains(lower);
        });
    }
    const Score &score = scores[int(Scoring::normalised)];
    auto maxDelay = [](const Run &run) { return run.finalDelays.empty() ? 0.0 : *std::max_element(run.finalDelays.begin(), run.finalDelays.end()); };
    auto medianDelay = [](Run run) {
        if (run.finalDelays.empty())
            return 0.0;
        std::nth_element(run.finalDelays.begin(), run.finalDelays.begin() + run.finalDelays.size() / 2, run.finalDelays.end());
        return run.finalDelays[run.finalDelays.size() / 2];
    };
    std::printf("\n%zu sentences, %d words, %.1f s of audio\n", sentenceList.size(), score.words, audioSeconds);
    std::printf("WER normalised (case, punctuation, hyphens, numbers, contractions), and as written in brackets:\n");
    if (!finalsOnlyRun)
        std::printf("with guesses every 0.5 s: WER %.1f %% (%.1f %%), RTF %.3f (%d guesses), final result after its pause: median %.3f s, max %.3f s\n",
                    score.percent(score.guessed), written.percent(written.guessed), withGuesses.seconds / audioSeconds,
                    withGuesses.guesses, medianDelay(withGuesses), maxDelay(withGuesses));
    std::printf("final results only:       WER %.1f %% (%.1f %%), RTF %.3f\n", score.percent(score.final),
                written.percent(written.final), finalsOnly.seconds / audioSeconds);
    std::printf("final, favouring %zu library words (%d said): WER %.1f %% (%.1f %%), RTF %.3f\n", std::size(libraryWords),
                saidCount, score.percent(score.biased), written.percent(written.biased), biased.seconds / audioSeconds);
    if (haveReference)
        std::printf("pocketsphinx_continuous:  WER %.1f %% (%.1f %%), RTF %.3f; Larder's RTF with guesses is %.2f times its RTF\n",
                    score.percent(score.reference), written.percent(written.reference), referenceSeconds / audioSeconds,
                    withGuesses.seconds / referenceSeconds);
    else if (!finalsOnlyRun)
        std::printf("pocketsphinx_continuous is not installed: no reference\n");
    std::printf("peak memory: %.0f MB\n", peakMemoryMB());
    return 0;
}
