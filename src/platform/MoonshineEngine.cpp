#include "platform/MoonshineEngine.h"

#include "platform/OnnxRuntime.h"
#include "platform/SpeechVocabulary.h"
#include "platform/WordBias.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <array>
#include <cmath>

namespace {

const char *const runtimeFile = "libonnxruntime.so";
const char *const encoderFile = "encoder_model.onnx";
const char *const decoderFile = "decoder_model_merged.onnx";
const char *const detectorFile = "silero_vad_v5.onnx";
const char *const vocabularyFile = "tokens.txt";

constexpr int64_t startToken = 1;
constexpr int64_t endToken = 2;
// The model writes about four tokens a second of fast speech; a decode that
// runs past twice that is repeating itself.
constexpr double tokensPerSecond = 8.0;
constexpr int minimumTokens = 6;
// Beams of a thorough decode: on the benchmark's speech two mend as many
// errors as eight, at a quarter of the cost.
constexpr int thoroughBeams = 2;

// How much likelier, in log probability, a piece of a favoured word is made.
constexpr float favouredWordBonus = 3.0f;

// The detector looks at each window together with the 64 samples before it.
constexpr int detectorContext = 64;
constexpr int detectorStateSize = 2 * 1 * 128;

} // namespace

SpeechEngineError::SpeechEngineError(QString description)
    : m_description(std::move(description))
{
}

QString SpeechEngineError::description() const
{
    return m_description;
}

struct MoonshineEngine::Models
{
    const OnnxRuntime &runtime;
    OnnxSession encoder;
    OnnxSession decoder;
    OnnxSession detector;
    SpeechVocabulary vocabulary;
    WordBias bias;
    // For each decoder input named past_key_values.*, the index of the
    // present.* output that feeds it at the next step, and whether it holds
    // the encoder's keys (computed once, at the first step).
    struct Cache
    {
        std::string input;
        size_t output;
        bool fromEncoder;
    };
    std::vector<Cache> cache;
    int64_t heads = 0;
    int64_t headSize = 0;
};

namespace {

class SileroDetector : public VoiceDetector
{
public:
    explicit SileroDetector(const OnnxRuntime &runtime, const OnnxSession &session)
        : m_runtime(runtime)
        , m_session(session)
    {
        m_state.fill(0.0f);
        m_input.fill(0.0f);
    }

    float speechProbability(std::span<const float> window) override
    {
        if (window.size() != size_t(SpeechEngine::windowSamples))
            return 0.0f;
        std::copy(window.begin(), window.end(), m_input.begin() + detectorContext);
        int64_t rate = SpeechEngine::sampleRate;
        OnnxValue input = m_runtime.wrap(std::span<float>(m_input), {1, int64_t(m_input.size())});
        OnnxValue state = m_runtime.wrap(std::span<float>(m_state), {2, 1, 128});
        OnnxValue sr = m_runtime.wrap(std::span<int64_t>(&rate, 1), {});
        std::vector<OnnxValue> out = m_session.run({{"input", input.get()}, {"state", state.get()}, {"sr", sr.get()}});
        const float probability = out[0].data<float>()[0];
        std::copy_n(out[1].data<float>(), detectorStateSize, m_state.begin());
        // The next window's context is the end of this one.
        std::copy(m_input.end() - detectorContext, m_input.end(), m_input.begin());
        return std::isfinite(probability) ? std::clamp(probability, 0.0f, 1.0f) : 0.0f;
    }

private:
    const OnnxRuntime &m_runtime;
    const OnnxSession &m_session;
    std::array<float, detectorStateSize> m_state;
    std::array<float, detectorContext + SpeechEngine::windowSamples> m_input;
};

} // namespace

QStringList MoonshineEngine::searchFolders()
{
    QStringList folders;
    const QString fromEnvironment = qEnvironmentVariable("LARDER_SPEECH_DIR");
    if (!fromEnvironment.isEmpty())
        folders << fromEnvironment;
    const QString programFolder = QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString();
    if (!programFolder.isEmpty())
        folders << programFolder + QStringLiteral("/speech") << QDir::cleanPath(programFolder + QStringLiteral("/../lib/larder/speech"));
#ifdef LARDER_SPEECH_BUILD_DIR
    folders << QStringLiteral(LARDER_SPEECH_BUILD_DIR);
#endif
    return folders;
}

QString MoonshineEngine::locateFolder()
{
    for (const QString &folder : searchFolders()) {
        if (QFileInfo::exists(folder + QLatin1Char('/') + QLatin1String(decoderFile)))
            return folder;
    }
    return {};
}

std::shared_ptr<MoonshineEngine> MoonshineEngine::load(const QString &folder)
{
    if (folder.isEmpty() || !QFileInfo(folder).isDir())
        throw SpeechEngineError(QStringLiteral("The on-device speech model isn't installed. Build Larder again "
                                               "(it fetches the model) or set LARDER_SPEECH_DIR to its folder."));
    auto path = [&](const char *name) { return folder + QLatin1Char('/') + QLatin1String(name); };
    const OnnxRuntime &runtime = OnnxRuntime::load(path(runtimeFile));
    auto models = std::unique_ptr<Models>(new Models{runtime,
                                                     OnnxSession(runtime, path(encoderFile)),
                                                     OnnxSession(runtime, path(decoderFile)),
                                                     OnnxSession(runtime, path(detectorFile)),
                                                     SpeechVocabulary::load(path(vocabularyFile)),
                                                     {}, {}, 8, 36});
    const std::string pastPrefix = "past_key_values";
    const auto &outputs = models->decoder.outputNames();
    for (const std::string &input : models->decoder.inputNames()) {
        if (!input.starts_with(pastPrefix))
            continue;
        const std::string output = "present" + input.substr(pastPrefix.size());
        const auto found = std::find(outputs.begin(), outputs.end(), output);
        if (found == outputs.end())
            throw SpeechEngineError(QStringLiteral("The speech model in %1 is not the expected one.").arg(folder));
        models->cache.push_back({input, size_t(found - outputs.begin()), input.find(".encoder.") != std::string::npos});
    }
    if (models->cache.empty() || outputs.empty() || outputs.front() != "logits")
        throw SpeechEngineError(QStringLiteral("The speech model in %1 is not the expected one.").arg(folder));
    return std::shared_ptr<MoonshineEngine>(new MoonshineEngine(std::move(models)));
}

MoonshineEngine::MoonshineEngine(std::unique_ptr<Models> models)
    : m(std::move(models))
{
}

MoonshineEngine::~MoonshineEngine() = default;

void MoonshineEngine::favourWords(const QStringList &words)
{
    m->bias = WordBias(m->vocabulary, words, favouredWordBonus);
}

std::unique_ptr<VoiceDetector> MoonshineEngine::makeVoiceDetector() const
{
    return std::make_unique<SileroDetector>(m->runtime, m->detector);
}

QString MoonshineEngine::transcribe(std::span<const float> utterance, Decoding decoding) const
{
    // The encoder needs a little audio to work on.
    if (utterance.size() < size_t(SpeechEngine::sampleRate / 10))
        return {};
    const OnnxRuntime &runtime = m->runtime;
    OnnxValue audio = runtime.wrap(utterance, {1, int64_t(utterance.size())});
    std::vector<OnnxValue> encoded = m->encoder.run({{"input_values", audio.get()}});
    const OnnxValue &hidden = encoded.front();

    // Beam search, one token a step for each beam, each beam keeping the
    // attention caches of its steps before (shared with the beams it forked
    // from: a step never changes a cache, it makes new ones).
    using Past = std::vector<std::shared_ptr<OnnxValue>>;
    struct Beam
    {
        std::vector<int64_t> tokens;
        double score = 0; // log probability
        Past past;
    };
    const int width = decoding == Decoding::thorough ? thoroughBeams : 1;
    Past empty;
    for (size_t i = 0; i < m->cache.size(); ++i)
        empty.push_back(std::make_shared<OnnxValue>(
            runtime.allocate({1, m->heads, 0, m->headSize}, ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT)));
    const double seconds = double(utterance.size()) / SpeechEngine::sampleRate;
    const int limit = std::max(minimumTokens, int(std::ceil(seconds * tokensPerSecond)));
    std::vector<Beam> beams{Beam{{}, 0, empty}};
    std::vector<Beam> finished;
    // Longer transcripts gather more negative log probability: compare by
    // the mean per token.
    const auto normalised = [](const Beam &beam) { return beam.score / double(beam.tokens.size() + 1); };
    for (int step = 0; step < limit && !beams.empty() && int(finished.size()) < width; ++step) {
        struct Candidate
        {
            size_t beam;
            int64_t token;
            double score;
            std::shared_ptr<Past> past;
        };
        std::vector<Candidate> candidates;
        for (size_t b = 0; b < beams.size(); ++b) {
            Beam &beam = beams[b];
            int64_t last = beam.tokens.empty() ? startToken : beam.tokens.back();
            bool useCache = step > 0;
            OnnxValue ids = runtime.wrap(std::span<int64_t>(&last, 1), {1, 1});
            OnnxValue cacheFlag = runtime.wrap(std::span<bool>(&useCache, 1), {1});
            std::vector<std::pair<const char *, const OrtValue *>> inputs{{"input_ids", ids.get()},
                                                                          {"encoder_hidden_states", hidden.get()}};
            for (size_t i = 0; i < m->cache.size(); ++i)
                inputs.emplace_back(m->cache[i].input.c_str(), beam.past[i]->get());
            inputs.emplace_back("use_cache_branch", cacheFlag.get());
            std::vector<OnnxValue> out = m->decoder.run(inputs);

            const std::vector<int64_t> shape = out.front().shape();
            const int64_t vocabulary = shape.empty() ? 0 : shape.back();
            if (vocabulary <= 0)
                continue;
            float *logits = out.front().data<float>();
            m->bias.favour(beam.tokens, std::span<float>(logits, size_t(vocabulary)));
            const float top = *std::max_element(logits, logits + vocabulary);
            double sum = 0;
            for (int64_t t = 0; t < vocabulary; ++t)
                sum += std::exp(double(logits[t] - top));
            const double logSum = double(top) + std::log(sum);
            std::vector<int64_t> order(static_cast<size_t>(vocabulary));
            for (int64_t t = 0; t < vocabulary; ++t)
                order[size_t(t)] = t;
            const auto best = order.begin() + std::min<int64_t>(width, vocabulary);
            std::partial_sort(order.begin(), best, order.end(), [&](int64_t x, int64_t y) { return logits[x] > logits[y]; });
            auto next = std::make_shared<Past>(beam.past);
            for (size_t i = 0; i < m->cache.size(); ++i) {
                if (step == 0 || !m->cache[i].fromEncoder)
                    (*next)[i] = std::make_shared<OnnxValue>(std::move(out[m->cache[i].output]));
            }
            for (auto t = order.begin(); t != best; ++t)
                candidates.push_back({b, *t, beam.score + double(logits[*t]) - logSum, next});
        }
        std::sort(candidates.begin(), candidates.end(), [](const Candidate &x, const Candidate &y) { return x.score > y.score; });
        std::vector<Beam> alive;
        for (const Candidate &candidate : candidates) {
            if (int(alive.size()) >= width)
                break;
            Beam grown{beams[candidate.beam].tokens, candidate.score, *candidate.past};
            if (candidate.token == endToken) {
                finished.push_back(std::move(grown));
                continue;
            }
            grown.tokens.push_back(candidate.token);
            alive.push_back(std::move(grown));
        }
        beams = std::move(alive);
    }
    // A decode cut at its limit counts as finished where it stands.
    for (Beam &beam : beams)
        finished.push_back(std::move(beam));
    if (finished.empty())
        return {};
    const Beam &chosen = *std::max_element(finished.begin(), finished.end(),
                                           [&](const Beam &x, const Beam &y) { return normalised(x) < normalised(y); });
    const std::vector<int64_t> &tokens = chosen.tokens;
    return m->vocabulary.text(tokens);
}
