#include "platform/VideoFrame.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace {

struct FormatCloser
{
    void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};
struct CodecCloser
{
    void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
};
struct FrameFreer
{
    void operator()(AVFrame *frame) const { av_frame_free(&frame); }
};
struct PacketFreer
{
    void operator()(AVPacket *packet) const { av_packet_free(&packet); }
};

// Decodes packets of the stream until one frame comes out, reading at most
// this many packets so that a broken file ends the search.
constexpr int maxPackets = 600;

AVFrame *decodeOne(AVFormatContext *format, AVCodecContext *codec, int stream, AVFrame *frame, AVPacket *packet)
{
    for (int read = 0; read < maxPackets && av_read_frame(format, packet) >= 0; ++read) {
        const bool ours = packet->stream_index == stream;
        const int sent = ours ? avcodec_send_packet(codec, packet) : 0;
        av_packet_unref(packet);
        if (!ours || sent < 0)
            continue;
        if (avcodec_receive_frame(codec, frame) == 0)
            return frame;
    }
    // Whatever the decoder still holds.
    avcodec_send_packet(codec, nullptr);
    return avcodec_receive_frame(codec, frame) == 0 ? frame : nullptr;
}

} // namespace

namespace VideoFrame {

QImage thumbnail(const QString &path, int longestSide)
{
    av_log_set_level(AV_LOG_QUIET);
    AVFormatContext *opened = nullptr;
    if (avformat_open_input(&opened, path.toUtf8().constData(), nullptr, nullptr) < 0)
        return {};
    std::unique_ptr<AVFormatContext, FormatCloser> format(opened);
    if (avformat_find_stream_info(format.get(), nullptr) < 0)
        return {};
    const AVCodec *decoder = nullptr;
    const int stream = av_find_best_stream(format.get(), AVMEDIA_TYPE_VIDEO, -1, -1, &decoder, 0);
    if (stream < 0 || !decoder)
        return {};
    std::unique_ptr<AVCodecContext, CodecCloser> codec(avcodec_alloc_context3(decoder));
    if (!codec || avcodec_parameters_to_context(codec.get(), format->streams[stream]->codecpar) < 0
        || avcodec_open2(codec.get(), decoder, nullptr) < 0)
        return {};

    // A tenth of the way in skips black openings; a seek that fails leaves
    // the first frame.
    if (format->duration > 0) {
        const int64_t target = std::min<int64_t>(format->duration / 10, 10 * int64_t(AV_TIME_BASE));
        if (av_seek_frame(format.get(), -1, target, AVSEEK_FLAG_BACKWARD) >= 0)
            avcodec_flush_buffers(codec.get());
    }

    std::unique_ptr<AVFrame, FrameFreer> frame(av_frame_alloc());
    std::unique_ptr<AVPacket, PacketFreer> packet(av_packet_alloc());
    if (!frame || !packet || !decodeOne(format.get(), codec.get(), stream, frame.get(), packet.get()))
        return {};
    if (frame->width <= 0 || frame->height <= 0)
        return {};

    const double scale = std::min(1.0, double(longestSide) / std::max(frame->width, frame->height));
    const int width = std::max(1, int(frame->width * scale));
    const int height = std::max(1, int(frame->height * scale));
    SwsContext *scaler = sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format), width, height,
                                        AV_PIX_FMT_RGB32, SWS_BILINEAR, nullptr, nullptr, nullptr);
    if (!scaler)
        return {};
    QImage image(width, height, QImage::Format_RGB32);
    uint8_t *planes[4] = {image.bits(), nullptr, nullptr, nullptr};
    int strides[4] = {int(image.bytesPerLine()), 0, 0, 0};
    sws_scale(scaler, frame->data, frame->linesize, 0, frame->height, planes, strides);
    sws_freeContext(scaler);
    return image;
}

} // namespace VideoFrame
