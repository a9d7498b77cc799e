#include "platform/OnnxRuntime.h"

#include "platform/SpeechEngine.h"

#include <QFile>

#include <dlfcn.h>
#include <memory>
#include <mutex>

OnnxValue::OnnxValue(const OnnxRuntime *runtime, OrtValue *value)
    : m_runtime(runtime)
    , m_value(value)
{
}

OnnxValue::OnnxValue(OnnxValue &&other) noexcept
    : m_runtime(other.m_runtime)
    , m_value(std::exchange(other.m_value, nullptr))
{
}

OnnxValue &OnnxValue::operator=(OnnxValue &&other) noexcept
{
    if (this != &other) {
        if (m_value)
            m_runtime->api().ReleaseValue(m_value);
        m_runtime = other.m_runtime;
        m_value = std::exchange(other.m_value, nullptr);
    }
    return *this;
}

OnnxValue::~OnnxValue()
{
    if (m_value)
        m_runtime->api().ReleaseValue(m_value);
}

std::vector<int64_t> OnnxValue::shape() const
{
    const OrtApi &api = m_runtime->api();
    OrtTensorTypeAndShapeInfo *info = nullptr;
    m_runtime->check(api.GetTensorTypeAndShape(m_value, &info));
    size_t count = 0;
    api.GetDimensionsCount(info, &count);
    std::vector<int64_t> dims(count);
    api.GetDimensions(info, dims.data(), count);
    api.ReleaseTensorTypeAndShapeInfo(info);
    return dims;
}

void *OnnxValue::rawData() const
{
    void *data = nullptr;
    m_runtime->check(m_runtime->api().GetTensorMutableData(m_value, &data));
    return data;
}

const OnnxRuntime &OnnxRuntime::load(const QString &libraryPath)
{
    static std::mutex mutex;
    static std::unique_ptr<OnnxRuntime> loaded;
    std::lock_guard lock(mutex);
    if (loaded)
        return *loaded;
    if (!QFile::exists(libraryPath))
        throw SpeechEngineError(QStringLiteral("The speech runtime is missing (%1).").arg(libraryPath));
    void *library = dlopen(QFile::encodeName(libraryPath).constData(), RTLD_NOW | RTLD_LOCAL);
    if (!library)
        throw SpeechEngineError(QStringLiteral("Couldn't load the speech runtime: %1.").arg(QString::fromLocal8Bit(dlerror())));
    auto entry = reinterpret_cast<OrtGetApiBaseFunction>(dlsym(library, "OrtGetApiBase"));
    const OrtApi *api = entry ? entry()->GetApi(kOrtApiVersion) : nullptr;
    if (!api)
        throw SpeechEngineError(QStringLiteral("The speech runtime at %1 is not a version Larder can use.").arg(libraryPath));
    loaded.reset(new OnnxRuntime(api));
    return *loaded;
}

OnnxRuntime::OnnxRuntime(const OrtApi *api)
    : m_api(api)
{
    check(api->CreateEnv(ORT_LOGGING_LEVEL_ERROR, "larder", &m_env));
    check(api->CreateCpuMemoryInfo(OrtArenaAllocator, OrtMemTypeDefault, &m_cpu));
    check(api->GetAllocatorWithDefaultOptions(&m_allocator));
}

void OnnxRuntime::check(OrtStatus *status) const
{
    if (!status)
        return;
    const QString message = QString::fromUtf8(m_api->GetErrorMessage(status));
    m_api->ReleaseStatus(status);
    throw SpeechEngineError(QStringLiteral("The speech model failed: %1").arg(message));
}

OnnxValue OnnxRuntime::wrapBytes(void *data, size_t bytes, const std::vector<int64_t> &shape,
                                 ONNXTensorElementDataType type) const
{
    OrtValue *value = nullptr;
    check(m_api->CreateTensorWithDataAsOrtValue(m_cpu, data, bytes, shape.data(), shape.size(), type, &value));
    return OnnxValue(this, value);
}

OnnxValue OnnxRuntime::allocate(const std::vector<int64_t> &shape, ONNXTensorElementDataType type) const
{
    OrtValue *value = nullptr;
    check(m_api->CreateTensorAsOrtValue(m_allocator, shape.data(), shape.size(), type, &value));
    return OnnxValue(this, value);
}

OnnxSession::OnnxSession(const OnnxRuntime &runtime, const QString &modelPath)
    : m_runtime(runtime)
{
    const OrtApi &api = runtime.api();
    if (!QFile::exists(modelPath))
        throw SpeechEngineError(QStringLiteral("The speech model file %1 is missing.").arg(modelPath));
    OrtSessionOptions *options = nullptr;
    runtime.check(api.CreateSessionOptions(&options));
    std::unique_ptr<OrtSessionOptions, void (*)(OrtSessionOptions *)> ownedOptions(options, api.ReleaseSessionOptions);
    runtime.check(api.SetIntraOpNumThreads(options, 1));
    runtime.check(api.SetInterOpNumThreads(options, 1));
    runtime.check(api.SetSessionGraphOptimizationLevel(options, ORT_ENABLE_ALL));
    runtime.check(api.SetSessionLogSeverityLevel(options, ORT_LOGGING_LEVEL_ERROR));
    runtime.check(api.CreateSession(runtime.env(), QFile::encodeName(modelPath).constData(), options, &m_session));

    OrtAllocator *allocator = nullptr;
    runtime.check(api.GetAllocatorWithDefaultOptions(&allocator));
    auto names = [&](bool inputs) {
        size_t count = 0;
        runtime.check(inputs ? api.SessionGetInputCount(m_session, &count) : api.SessionGetOutputCount(m_session, &count));
        std::vector<std::string> result;
        for (size_t i = 0; i < count; ++i) {
            char *name = nullptr;
            runtime.check(inputs ? api.SessionGetInputName(m_session, i, allocator, &name)
                                 : api.SessionGetOutputName(m_session, i, allocator, &name));
            result.emplace_back(name);
            api.AllocatorFree(allocator, name);
        }
        return result;
    };
    m_inputNames = names(true);
    m_outputNames = names(false);
}

OnnxSession::~OnnxSession()
{
    if (m_session)
        m_runtime.api().ReleaseSession(m_session);
}

std::vector<OnnxValue> OnnxSession::run(const std::vector<std::pair<const char *, const OrtValue *>> &inputs) const
{
    std::vector<const char *> inputNames;
    std::vector<const OrtValue *> inputValues;
    for (const auto &[name, value] : inputs) {
        inputNames.push_back(name);
        inputValues.push_back(value);
    }
    std::vector<const char *> outputNames;
    for (const std::string &name : m_outputNames)
        outputNames.push_back(name.c_str());
    std::vector<OrtValue *> outputs(outputNames.size(), nullptr);
    m_runtime.check(m_runtime.api().Run(m_session, nullptr, inputNames.data(), inputValues.data(), inputValues.size(),
                                        outputNames.data(), outputNames.size(), outputs.data()));
    std::vector<OnnxValue> result;
    result.reserve(outputs.size());
    for (OrtValue *value : outputs)
        result.emplace_back(&m_runtime, value);
    return result;
}
