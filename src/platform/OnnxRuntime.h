// ONNX Runtime, loaded at run time from the speech folder, and sessions on
// its models. Every session runs on its caller's thread alone (one intra-op
// thread), so two streams decoding at once use a core each and no more.
#pragma once

#include "platform/OnnxRuntimeAbi.h"

#include <QString>

#include <span>
#include <string>
#include <utility>
#include <vector>

class OnnxRuntime;

// One tensor owned by this object.
class OnnxValue
{
public:
    OnnxValue() = default;
    OnnxValue(const OnnxRuntime *runtime, OrtValue *value);
    OnnxValue(OnnxValue &&other) noexcept;
    OnnxValue &operator=(OnnxValue &&other) noexcept;
    ~OnnxValue();

    OrtValue *get() const { return m_value; }
    std::vector<int64_t> shape() const;
    template<typename T>
    T *data() const { return static_cast<T *>(rawData()); }

private:
    void *rawData() const;

    const OnnxRuntime *m_runtime = nullptr;
    OrtValue *m_value = nullptr;
};

class OnnxRuntime
{
public:
    // The process's runtime, loaded from the library at the given path on the
    // first call. Throws SpeechEngineError when it can't be loaded.
    static const OnnxRuntime &load(const QString &libraryPath);

    const OrtApi &api() const { return *m_api; }
    const OrtEnv *env() const { return m_env; }
    // Throws SpeechEngineError carrying the runtime's message; frees status.
    void check(OrtStatus *status) const;

    // A tensor over caller-owned memory, which must outlive it.
    template<typename T>
    OnnxValue wrap(std::span<T> data, const std::vector<int64_t> &shape) const;
    // A tensor of its own, zero-filled (any dimension may be 0).
    OnnxValue allocate(const std::vector<int64_t> &shape, ONNXTensorElementDataType type) const;

private:
    explicit OnnxRuntime(const OrtApi *api);
    OnnxValue wrapBytes(void *data, size_t bytes, const std::vector<int64_t> &shape,
                        ONNXTensorElementDataType type) const;

    const OrtApi *m_api;
    OrtEnv *m_env = nullptr;
    OrtMemoryInfo *m_cpu = nullptr;
    OrtAllocator *m_allocator = nullptr;
};

template<typename T>
OnnxValue OnnxRuntime::wrap(std::span<T> data, const std::vector<int64_t> &shape) const
{
    using Element = std::remove_const_t<T>;
    constexpr ONNXTensorElementDataType type = std::is_same_v<Element, float> ? ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT
                                             : std::is_same_v<Element, bool>  ? ONNX_TENSOR_ELEMENT_DATA_TYPE_BOOL
                                                                              : ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64;
    static_assert(std::is_same_v<Element, float> || std::is_same_v<Element, bool> || std::is_same_v<Element, int64_t>);
    return wrapBytes(const_cast<Element *>(data.data()), data.size_bytes(), shape, type);
}

class OnnxSession
{
public:
    OnnxSession(const OnnxRuntime &runtime, const QString &modelPath);
    ~OnnxSession();
    OnnxSession(const OnnxSession &) = delete;
    OnnxSession &operator=(const OnnxSession &) = delete;

    const std::vector<std::string> &inputNames() const { return m_inputNames; }
    const std::vector<std::string> &outputNames() const { return m_outputNames; }

    // Runs the model on named inputs and returns every output, in the
    // model's order. Safe from several threads at once.
    std::vector<OnnxValue> run(const std::vector<std::pair<const char *, const OrtValue *>> &inputs) const;

private:
    const OnnxRuntime &m_runtime;
    OrtSession *m_session = nullptr;
    std::vector<std::string> m_inputNames;
    std::vector<std::string> m_outputNames;
};
