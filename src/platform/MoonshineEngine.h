// The Moonshine tiny English model on ONNX Runtime, with Silero VAD as its
// voice detector. The model files and the runtime sit together in one
// folder, put there by the build.
#pragma once

#include "platform/SpeechEngine.h"

#include <QString>
#include <QStringList>

#include <memory>

class MoonshineEngine : public SpeechEngine
{
public:
    // The folders searched for the speech files, in order: $LARDER_SPEECH_DIR,
    // "speech" beside the program, "../lib/larder/speech" beside it, and the
    // build's own folder.
    static QStringList searchFolders();
    // The first of them that holds the files, or an empty string.
    static QString locateFolder();

    // Loads the runtime and the models. Throws SpeechEngineError.
    static std::shared_ptr<MoonshineEngine> load(const QString &folder = locateFolder());
    ~MoonshineEngine() override;

    // Words to favour in every decode from now on (names and terms the user
    // is likely to say); an empty list favours none. Call it before
    // transcribing starts: it is not safe while a decode runs.
    void favourWords(const QStringList &words);

    std::unique_ptr<VoiceDetector> makeVoiceDetector() const override;
    // A quick decode takes the likeliest token at each step; a thorough one
    // keeps the likeliest two transcripts so far (a beam search), which
    // mends about a tenth of the errors at twice the cost.
    QString transcribe(std::span<const float> utterance, Decoding decoding = Decoding::thorough) const override;

private:
    struct Models;
    explicit MoonshineEngine(std::unique_ptr<Models> models);

    std::unique_ptr<Models> m;
};
