// Speech made at test time by espeak-ng, as a WAV file or as mono float
// samples at the speech engine's rate (converted by sox).
#pragma once

#include <QString>
#include <QStringList>

#include <vector>

namespace SpeechFixtures {

struct Voice
{
    QString name = QStringLiteral("en-us");
    int wordsPerMinute = 160;
};

// False when espeak-ng is missing or fails.
bool writeSpeech(const QString &wavPath, const QString &text, const Voice &voice = {});
// Empty when espeak-ng or sox is missing or fails.
std::vector<float> spokenSamples(const QString &text, const Voice &voice = {}, int sampleRate = 16000);

// The words of a transcript, lower-cased, without punctuation.
QStringList words(const QString &text);

} // namespace SpeechFixtures
