// The part of ONNX Runtime's C interface that the speech engine uses,
// declared here because the runtime is shipped as a bare shared library.
// The runtime hands out one table of function pointers (OrtApi) through
// OrtGetApiBase(); the table only ever grows at its end, so asking for an
// older version keeps every entry below at its place. Entries Larder does
// not call are kept as unnamed slots so that the used ones sit at their
// documented positions.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

struct OrtEnv;
struct OrtStatus;
struct OrtSession;
struct OrtSessionOptions;
struct OrtRunOptions;
struct OrtValue;
struct OrtMemoryInfo;
struct OrtAllocator;
struct OrtTypeInfo;
struct OrtTensorTypeAndShapeInfo;

enum OrtLoggingLevel { ORT_LOGGING_LEVEL_VERBOSE, ORT_LOGGING_LEVEL_INFO, ORT_LOGGING_LEVEL_WARNING,
                       ORT_LOGGING_LEVEL_ERROR, ORT_LOGGING_LEVEL_FATAL };

enum ONNXTensorElementDataType { ONNX_TENSOR_ELEMENT_DATA_TYPE_UNDEFINED, ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT,
                                 ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT8, ONNX_TENSOR_ELEMENT_DATA_TYPE_INT8,
                                 ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT16, ONNX_TENSOR_ELEMENT_DATA_TYPE_INT16,
                                 ONNX_TENSOR_ELEMENT_DATA_TYPE_INT32, ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64,
                                 ONNX_TENSOR_ELEMENT_DATA_TYPE_STRING, ONNX_TENSOR_ELEMENT_DATA_TYPE_BOOL };

enum GraphOptimizationLevel { ORT_DISABLE_ALL = 0, ORT_ENABLE_BASIC = 1, ORT_ENABLE_EXTENDED = 2, ORT_ENABLE_ALL = 99 };

enum OrtAllocatorType { OrtInvalidAllocator = -1, OrtDeviceAllocator = 0, OrtArenaAllocator = 1 };
enum OrtMemType { OrtMemTypeCPUInput = -2, OrtMemTypeCPUOutput = -1, OrtMemTypeDefault = 0 };

// The version of the table that Larder asks for; newer runtimes serve it too.
constexpr uint32_t kOrtApiVersion = 17;

struct OrtApi
{
    OrtStatus *(*CreateStatus)(int code, const char *message); // 0
    int (*GetErrorCode)(const OrtStatus *status);
    const char *(*GetErrorMessage)(const OrtStatus *status);
    OrtStatus *(*CreateEnv)(OrtLoggingLevel level, const char *logId, OrtEnv **out);
    void *unused4_6[3];
    OrtStatus *(*CreateSession)(const OrtEnv *env, const char *modelPath, const OrtSessionOptions *options,
                                OrtSession **out); // 7
    void *unused8;
    OrtStatus *(*Run)(OrtSession *session, const OrtRunOptions *runOptions, const char *const *inputNames,
                      const OrtValue *const *inputs, size_t inputCount, const char *const *outputNames,
                      size_t outputCount, OrtValue **outputs); // 9
    OrtStatus *(*CreateSessionOptions)(OrtSessionOptions **out); // 10
    void *unused11_21[11];
    OrtStatus *(*SetSessionLogSeverityLevel)(OrtSessionOptions *options, int level); // 22
    OrtStatus *(*SetSessionGraphOptimizationLevel)(OrtSessionOptions *options, GraphOptimizationLevel level);
    OrtStatus *(*SetIntraOpNumThreads)(OrtSessionOptions *options, int threads);
    OrtStatus *(*SetInterOpNumThreads)(OrtSessionOptions *options, int threads); // 25
    void *unused26_29[4];
    OrtStatus *(*SessionGetInputCount)(const OrtSession *session, size_t *out); // 30
    OrtStatus *(*SessionGetOutputCount)(const OrtSession *session, size_t *out);
    void *unused32;
    OrtStatus *(*SessionGetInputTypeInfo)(const OrtSession *session, size_t index, OrtTypeInfo **out); // 33
    void *unused34_35[2];
    OrtStatus *(*SessionGetInputName)(const OrtSession *session, size_t index, OrtAllocator *allocator,
                                      char **out); // 36
    OrtStatus *(*SessionGetOutputName)(const OrtSession *session, size_t index, OrtAllocator *allocator,
                                       char **out);
    void *unused38_47[10];
    OrtStatus *(*CreateTensorAsOrtValue)(OrtAllocator *allocator, const int64_t *shape, size_t shapeLength,
                                         ONNXTensorElementDataType type, OrtValue **out); // 48
    OrtStatus *(*CreateTensorWithDataAsOrtValue)(const OrtMemoryInfo *info, void *data, size_t dataBytes,
                                                 const int64_t *shape, size_t shapeLength,
                                                 ONNXTensorElementDataType type, OrtValue **out);
    void *unused50;
    OrtStatus *(*GetTensorMutableData)(OrtValue *value, void **out); // 51
    void *unused52_54[3];
    OrtStatus *(*CastTypeInfoToTensorInfo)(const OrtTypeInfo *info, const OrtTensorTypeAndShapeInfo **out); // 55
    void *unused56_59[4];
    OrtStatus *(*GetTensorElementType)(const OrtTensorTypeAndShapeInfo *info, ONNXTensorElementDataType *out); // 60
    OrtStatus *(*GetDimensionsCount)(const OrtTensorTypeAndShapeInfo *info, size_t *out);
    OrtStatus *(*GetDimensions)(const OrtTensorTypeAndShapeInfo *info, int64_t *dims, size_t dimsLength);
    void *unused63;
    OrtStatus *(*GetTensorShapeElementCount)(const OrtTensorTypeAndShapeInfo *info, size_t *out); // 64
    OrtStatus *(*GetTensorTypeAndShape)(const OrtValue *value, OrtTensorTypeAndShapeInfo **out);
    void *unused66_68[3];
    OrtStatus *(*CreateCpuMemoryInfo)(OrtAllocatorType type, OrtMemType memType, OrtMemoryInfo **out); // 69
    void *unused70_75[6];
    OrtStatus *(*AllocatorFree)(OrtAllocator *allocator, void *pointer); // 76
    void *unused77;
    OrtStatus *(*GetAllocatorWithDefaultOptions)(OrtAllocator **out); // 78
    void *unused79_91[13];
    void (*ReleaseEnv)(OrtEnv *); // 92
    void (*ReleaseStatus)(OrtStatus *);
    void (*ReleaseMemoryInfo)(OrtMemoryInfo *);
    void (*ReleaseSession)(OrtSession *);
    void (*ReleaseValue)(OrtValue *);
    void (*ReleaseRunOptions)(OrtRunOptions *);
    void (*ReleaseTypeInfo)(OrtTypeInfo *);
    void (*ReleaseTensorTypeAndShapeInfo)(OrtTensorTypeAndShapeInfo *);
    void (*ReleaseSessionOptions)(OrtSessionOptions *); // 100
};

struct OrtApiBase
{
    const OrtApi *(*GetApi)(uint32_t version);
    const char *(*GetVersionString)();
};

// The library's one exported entry point.
using OrtGetApiBaseFunction = const OrtApiBase *(*)();
}

static_assert(offsetof(OrtApi, CreateSession) == 7 * sizeof(void *));
static_assert(offsetof(OrtApi, SessionGetInputCount) == 30 * sizeof(void *));
static_assert(offsetof(OrtApi, CreateTensorAsOrtValue) == 48 * sizeof(void *));
static_assert(offsetof(OrtApi, CreateCpuMemoryInfo) == 69 * sizeof(void *));
static_assert(offsetof(OrtApi, ReleaseEnv) == 92 * sizeof(void *));
static_assert(offsetof(OrtApi, ReleaseSessionOptions) == 100 * sizeof(void *));
