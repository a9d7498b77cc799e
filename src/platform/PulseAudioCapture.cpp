#include "platform/PulseAudioCapture.h"

#include <pulse/pulseaudio.h>

#include <atomic>
#include <cstring>

AudioCaptureError::AudioCaptureError(Kind kind)
    : m_kind(kind)
{
}

AudioCaptureError::AudioCaptureError(QString what, int status)
    : m_kind(Kind::pulseAudio)
    , m_what(std::move(what))
    , m_status(status)
{
}

QString AudioCaptureError::description() const
{
    switch (m_kind) {
    case Kind::pulseAudio:
        return QStringLiteral("Couldn't %1 (PulseAudio error %2).").arg(m_what).arg(m_status);
    case Kind::noMicrophone:
        return QStringLiteral("No microphone is available.");
    case Kind::microphoneDenied:
        return QStringLiteral("Larder couldn't open the microphone. Check your desktop's sound settings, and in a "
                              "sandboxed install, Larder's microphone permission.");
    case Kind::unsupportedFormat:
        return QStringLiteral("The audio format isn't supported.");
    }
    return {};
}

namespace {

// Blocks of about this many frames come from the server.
constexpr uint32_t framesPerBlock = 4096;

struct DeviceInfo
{
    bool found = false;
    QString name;      // the source to record
    bool isMonitor = false;
    pa_sample_spec format{};
};

struct ServerInfo
{
    QString defaultSink;
    QString defaultSource;
};

} // namespace

struct PulseAudioCapture::Connection
{
    pa_threaded_mainloop *loop = nullptr;
    pa_context *context = nullptr;
    pa_stream *stream = nullptr;
    Device device = Device::Microphone;
    BufferHandler onBuffer;
    FailureHandler onFailure;
    AudioFormat format;
    QString deviceName;   // guarded by the loop's lock
    QString followedSink; // the sink whose monitor is recorded
    bool recording = false;
    bool failureReported = false;
    std::atomic<qint64> delivered{0};

    void signal() { pa_threaded_mainloop_signal(loop, 0); }

    void wait(pa_operation *operation)
    {
        if (!operation)
            return;
        while (pa_operation_get_state(operation) == PA_OPERATION_RUNNING)
            pa_threaded_mainloop_wait(loop);
        pa_operation_unref(operation);
    }

    void reportFailure(const char *step, int status)
    {
        if (!recording || failureReported)
            return;
        failureReported = true;
        recording = false;
        if (onFailure)
            onFailure(AudioCaptureError(QString::fromLatin1(step), status));
    }

    ServerInfo serverInfo()
    {
        ServerInfo info;
        auto pair = std::make_pair(this, &info);
        wait(pa_context_get_server_info(
            context,
            [](pa_context *, const pa_server_info *server, void *userdata) {
                auto *pair = static_cast<std::pair<Connection *, ServerInfo *> *>(userdata);
                if (server) {
                    pair->second->defaultSink = QString::fromUtf8(server->default_sink_name ? server->default_sink_name : "");
                    pair->second->defaultSource = QString::fromUtf8(server->default_source_name ? server->default_source_name : "");
                }
                pair->first->signal();
            },
            &pair));
        return info;
    }

    DeviceInfo sourceInfo(const QString &name)
    {
        DeviceInfo info;
        auto pair = std::make_pair(this, &info);
        wait(pa_context_get_source_info_by_name(
            context, name.toUtf8().constData(),
            [](pa_context *, const pa_source_info *source, int, void *userdata) {
                auto *pair = static_cast<std::pair<Connection *, DeviceInfo *> *>(userdata);
                if (source) {
                    pair->second->found = true;
                    pair->second->name = QString::fromUtf8(source->name);
                    pair->second->isMonitor = source->monitor_of_sink != PA_INVALID_INDEX;
                    pair->second->format = source->sample_spec;
                }
                pair->first->signal();
            },
            &pair));
        return info;
    }

    DeviceInfo sinkMonitorInfo(const QString &sink)
    {
        DeviceInfo info;
        auto pair = std::make_pair(this, &info);
        wait(pa_context_get_sink_info_by_name(
            context, sink.toUtf8().constData(),
            [](pa_context *, const pa_sink_info *sink, int, void *userdata) {
                auto *pair = static_cast<std::pair<Connection *, DeviceInfo *> *>(userdata);
                if (sink && sink->monitor_source_name) {
                    pair->second->found = true;
                    pair->second->name = QString::fromUtf8(sink->monitor_source_name);
                    pair->second->isMonitor = true;
                    pair->second->format = sink->sample_spec;
                }
                pair->first->signal();
            },
            &pair));
        return info;
    }
};

namespace {

class LoopLock
{
public:
    explicit LoopLock(pa_threaded_mainloop *loop)
        : m_loop(loop)
    {
        pa_threaded_mainloop_lock(m_loop);
    }
    ~LoopLock() { pa_threaded_mainloop_unlock(m_loop); }

private:
    pa_threaded_mainloop *m_loop;
};

} // namespace

PulseAudioCapture::PulseAudioCapture(Device device)
    : m_device(device)
    , m(std::make_unique<Connection>())
{
    m->device = device;
}

PulseAudioCapture::~PulseAudioCapture()
{
    stop();
}

qint64 PulseAudioCapture::deliveredCount() const
{
    return m->delivered.load();
}

QString PulseAudioCapture::deviceName() const
{
    if (!m->loop)
        return m->deviceName;
    LoopLock lock(m->loop);
    return m->deviceName;
}

void PulseAudioCapture::start(BufferHandler onBuffer, FailureHandler onFailure)
{
    stop();
    m->onBuffer = std::move(onBuffer);
    m->onFailure = std::move(onFailure);
    m->failureReported = false;
    try {
        m->loop = pa_threaded_mainloop_new();
        if (!m->loop)
            throw AudioCaptureError(QStringLiteral("connect to the sound server"), PA_ERR_INTERNAL);
        m->context = pa_context_new(pa_threaded_mainloop_get_api(m->loop), "Larder");
        if (!m->context)
            throw AudioCaptureError(QStringLiteral("connect to the sound server"), PA_ERR_INTERNAL);
        pa_context_set_state_callback(
            m->context,
            [](pa_context *context, void *userdata) {
                auto *c = static_cast<Connection *>(userdata);
                const pa_context_state_t state = pa_context_get_state(context);
                if (state == PA_CONTEXT_FAILED || state == PA_CONTEXT_TERMINATED)
                    c->reportFailure(c->device == Device::Microphone ? "keep recording the microphone"
                                                                      : "keep recording the call audio",
                                     pa_context_errno(context));
                c->signal();
            },
            m.get());
        if (pa_threaded_mainloop_start(m->loop) < 0)
            throw AudioCaptureError(QStringLiteral("connect to the sound server"), PA_ERR_INTERNAL);

        LoopLock lock(m->loop);
        if (pa_context_connect(m->context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0)
            throw AudioCaptureError(QStringLiteral("connect to the sound server"), pa_context_errno(m->context));
        for (;;) {
            const pa_context_state_t state = pa_context_get_state(m->context);
            if (state == PA_CONTEXT_READY)
                break;
            if (!PA_CONTEXT_IS_GOOD(state))
                throw AudioCaptureError(QStringLiteral("connect to the sound server"), pa_context_errno(m->context));
            pa_threaded_mainloop_wait(m->loop);
        }

        const ServerInfo server = m->serverInfo();
        DeviceInfo device;
        if (m_device == Device::Microphone) {
            // A monitor is what the computer plays, never a microphone.
            if (!server.defaultSource.isEmpty())
                device = m->sourceInfo(server.defaultSource);
            if (!device.found || device.isMonitor)
                throw AudioCaptureError(AudioCaptureError::Kind::noMicrophone);
        } else {
            if (!server.defaultSink.isEmpty())
                device = m->sinkMonitorInfo(server.defaultSink);
            if (!device.found)
                throw AudioCaptureError(QStringLiteral("find the output device"), PA_ERR_NOENTITY);
            m->followedSink = server.defaultSink;
        }

        pa_sample_spec wanted{PA_SAMPLE_FLOAT32LE, device.format.rate, device.format.channels};
        if (!pa_sample_spec_valid(&wanted))
            throw AudioCaptureError(AudioCaptureError::Kind::unsupportedFormat);
        m->format = AudioFormat{int(wanted.rate), int(wanted.channels)};
        m->deviceName = device.name;
        const bool microphone = m_device == Device::Microphone;
        m->stream = pa_stream_new(m->context, microphone ? "Larder microphone" : "Larder call audio", &wanted, nullptr);
        if (!m->stream)
            throw AudioCaptureError(QStringLiteral("start capturing system audio"), pa_context_errno(m->context));

        pa_stream_set_state_callback(
            m->stream,
            [](pa_stream *stream, void *userdata) {
                auto *c = static_cast<Connection *>(userdata);
                const pa_stream_state_t state = pa_stream_get_state(stream);
                if (state == PA_STREAM_FAILED || state == PA_STREAM_TERMINATED)
                    c->reportFailure(c->device == Device::Microphone ? "keep recording the microphone"
                                                                      : "keep recording the call audio",
                                     pa_context_errno(c->context));
                c->signal();
            },
            m.get());
        pa_stream_set_read_callback(
            m->stream,
            [](pa_stream *stream, size_t, void *userdata) {
                auto *c = static_cast<Connection *>(userdata);
                for (;;) {
                    const void *data = nullptr;
                    size_t bytes = 0;
                    if (pa_stream_peek(stream, &data, &bytes) < 0 || bytes == 0)
                        return;
                    // A hole in the stream (no data, only a length) is skipped.
                    if (data) {
                        AudioBuffer buffer{c->format, std::vector<float>(bytes / sizeof(float))};
                        memcpy(buffer.samples.data(), data, buffer.samples.size() * sizeof(float));
                        ++c->delivered;
                        if (c->onBuffer)
                            c->onBuffer(buffer);
                    }
                    pa_stream_drop(stream);
                }
            },
            m.get());

        pa_buffer_attr attributes;
        attributes.maxlength = uint32_t(-1);
        attributes.tlength = uint32_t(-1);
        attributes.prebuf = uint32_t(-1);
        attributes.minreq = uint32_t(-1);
        attributes.fragsize = uint32_t(framesPerBlock * pa_frame_size(&wanted));
        // The microphone stays on the device it opened: if that goes away,
        // recording it ends with a warning rather than silently moving to
        // another source, such as the monitor of the speakers.
        const auto flags = pa_stream_flags_t(PA_STREAM_ADJUST_LATENCY | (microphone ? PA_STREAM_DONT_MOVE : 0));
        if (pa_stream_connect_record(m->stream, device.name.toUtf8().constData(), &attributes, flags) < 0)
            throw microphone ? AudioCaptureError(AudioCaptureError::Kind::microphoneDenied)
                             : AudioCaptureError(QStringLiteral("start capturing system audio"), pa_context_errno(m->context));
        for (;;) {
            const pa_stream_state_t state = pa_stream_get_state(m->stream);
            if (state == PA_STREAM_READY)
                break;
            if (!PA_STREAM_IS_GOOD(state))
                throw microphone ? AudioCaptureError(AudioCaptureError::Kind::microphoneDenied)
                                 : AudioCaptureError(QStringLiteral("start capturing system audio"), pa_context_errno(m->context));
            pa_threaded_mainloop_wait(m->loop);
        }

        if (!microphone) {
            // Follow the default sink: when the user switches output, record
            // the new one's monitor.
            pa_context_set_subscribe_callback(
                m->context,
                [](pa_context *context, pa_subscription_event_type_t, uint32_t, void *userdata) {
                    pa_operation *operation = pa_context_get_server_info(
                        context,
                        [](pa_context *context, const pa_server_info *server, void *userdata) {
                            auto *c = static_cast<Connection *>(userdata);
                            if (!server || !server->default_sink_name || !c->stream)
                                return;
                            const QString sink = QString::fromUtf8(server->default_sink_name);
                            if (sink == c->followedSink)
                                return;
                            c->followedSink = sink;
                            pa_operation *lookup = pa_context_get_sink_info_by_name(
                                context, server->default_sink_name,
                                [](pa_context *context, const pa_sink_info *sink, int, void *userdata) {
                                    auto *c = static_cast<Connection *>(userdata);
                                    if (!sink || !sink->monitor_source_name || !c->stream)
                                        return;
                                    c->deviceName = QString::fromUtf8(sink->monitor_source_name);
                                    pa_operation *move = pa_context_move_source_output_by_name(
                                        context, pa_stream_get_index(c->stream), sink->monitor_source_name, nullptr, nullptr);
                                    if (move)
                                        pa_operation_unref(move);
                                },
                                c);
                            if (lookup)
                                pa_operation_unref(lookup);
                        },
                        userdata);
                    if (operation)
                        pa_operation_unref(operation);
                },
                m.get());
            pa_operation *subscription = pa_context_subscribe(m->context, PA_SUBSCRIPTION_MASK_SERVER, nullptr, nullptr);
            if (subscription)
                pa_operation_unref(subscription);
        }
        m->recording = true;
    } catch (...) {
        stop();
        throw;
    }
}

void PulseAudioCapture::stop()
{
    if (!m->loop)
        return;
    {
        LoopLock lock(m->loop);
        m->recording = false;
        if (m->stream) {
            pa_stream_set_state_callback(m->stream, nullptr, nullptr);
            pa_stream_set_read_callback(m->stream, nullptr, nullptr);
            pa_stream_disconnect(m->stream);
            pa_stream_unref(m->stream);
            m->stream = nullptr;
        }
        if (m->context) {
            pa_context_set_state_callback(m->context, nullptr, nullptr);
            pa_context_set_subscribe_callback(m->context, nullptr, nullptr);
            pa_context_disconnect(m->context);
            pa_context_unref(m->context);
            m->context = nullptr;
        }
    }
    pa_threaded_mainloop_stop(m->loop);
    pa_threaded_mainloop_free(m->loop);
    m->loop = nullptr;
}
