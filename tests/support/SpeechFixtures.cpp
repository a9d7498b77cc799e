#include "support/SpeechFixtures.h"

#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>

namespace SpeechFixtures {

bool writeSpeech(const QString &wavPath, const QString &text, const Voice &voice)
{
    QProcess espeak;
    espeak.start(QStringLiteral("espeak-ng"), {QStringLiteral("-v"), voice.name, QStringLiteral("-s"),
                                               QString::number(voice.wordsPerMinute), QStringLiteral("-w"), wavPath, text});
    return espeak.waitForFinished(60000) && espeak.exitStatus() == QProcess::NormalExit && espeak.exitCode() == 0
        && QFile::exists(wavPath);
}

std::vector<float> spokenSamples(const QString &text, const Voice &voice, int sampleRate)
{
    QTemporaryDir folder;
    const QString wav = folder.filePath(QStringLiteral("speech.wav"));
    const QString raw = folder.filePath(QStringLiteral("speech.raw"));
    if (!writeSpeech(wav, text, voice))
        return {};
    const int status = QProcess::execute(QStringLiteral("sox"), {wav, QStringLiteral("-r"), QString::number(sampleRate),
                                                                 QStringLiteral("-c"), QStringLiteral("1"), QStringLiteral("-e"),
                                                                 QStringLiteral("float"), QStringLiteral("-b"), QStringLiteral("32"),
                                                                 QStringLiteral("-t"), QStringLiteral("raw"), raw});
    QFile file(raw);
    if (status != 0 || !file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray bytes = file.readAll();
    std::vector<float> samples(size_t(bytes.size()) / sizeof(float));
    memcpy(samples.data(), bytes.constData(), samples.size() * sizeof(float));
    return samples;
}

QStringList words(const QString &text)
{
    return text.toLower().split(QRegularExpression(QStringLiteral("[^a-z0-9]+")), Qt::SkipEmptyParts);
}

} // namespace SpeechFixtures
