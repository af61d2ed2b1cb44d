#include "hosts/linux/window/VideoDecoder.h"

#include "hosts/linux/window/VideoLibraries.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <utility>

namespace InstallerCore {

namespace {

using std::chrono::nanoseconds;

constexpr AVRational nanosecond{.num = 1, .den = 1'000'000'000};
constexpr nanoseconds usualDuration = std::chrono::milliseconds(40);
// Nothing that is shown beside a download is larger, or rests longer on one picture.
constexpr std::int64_t mostPixels = 4096L * 4096;
constexpr nanoseconds longestDuration = std::chrono::seconds(60);

// Only once there is a decoder.
const VideoLibraries& ffmpeg() {
    return *VideoLibraries::load();
}

// One deleter for all of the library's objects, each with its own way of going.
struct Release {
    void operator()(AVFormatContext* format) const { ffmpeg().closeInput(&format); }

    void operator()(AVCodecContext* codec) const { ffmpeg().freeContext(&codec); }

    void operator()(AVPacket* packet) const { ffmpeg().freePacket(&packet); }

    void operator()(AVFrame* frame) const { ffmpeg().freeFrame(&frame); }

    void operator()(SwsContext* scaler) const { ffmpeg().freeScaler(scaler); }
};

template <typename T>
using Owned = std::unique_ptr<T, Release>;

Owned<AVFormatContext> openFormat(const std::filesystem::path& file) {
    AVDictionary* options = nullptr;
    ffmpeg().setEntry(&options, "protocol_whitelist", "file", 0);
    ffmpeg().setEntry(&options, "format_whitelist", "mov", 0);
    AVFormatContext* format = nullptr;
    const int status = ffmpeg().openInput(&format, ("file:" + file.string()).c_str(), nullptr, &options);
    ffmpeg().freeDictionary(&options);
    if (status < 0) {
        return nullptr;
    }
    Owned<AVFormatContext> result(format);
    return ffmpeg().findStreamInfo(format, nullptr) < 0 ? nullptr : std::move(result);
}

// The best video stream; all others are not even read.
AVStream* chooseStream(AVFormatContext& format, const AVCodec*& codec) {
    const int best = ffmpeg().findBestStream(&format, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
    if (best < 0) {
        return nullptr;
    }
    for (unsigned index = 0; index < format.nb_streams; ++index) {
        format.streams[index]->discard = std::cmp_equal(index, best) ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    }
    return format.streams[best];
}

Owned<AVCodecContext> openCodec(const AVCodec* codec, const AVStream& stream) {
    Owned<AVCodecContext> context(ffmpeg().allocContext(codec));
    if (!context || ffmpeg().parametersToContext(context.get(), stream.codecpar) < 0) {
        return nullptr;
    }
    context->thread_count = 1;
    context->max_pixels = mostPixels;
    return ffmpeg().openCodec(context.get(), codec, nullptr) < 0 ? nullptr : std::move(context);
}

// The scaler writes whole vectors: past the end of a line whose length is no multiple of them.
constexpr int vectorSize = 64;

QImage imageWithPadding(QSize size) {
    std::array<std::uint8_t*, 4> planes{};
    std::array<int, 4> strides{};
    if (ffmpeg().allocImage(planes.data(), strides.data(), size.width(), size.height(), AV_PIX_FMT_RGB32,
                            vectorSize) < 0) {
        return {};
    }
    return {planes.front(),       size.width(),     size.height(), strides.front(),
            QImage::Format_RGB32, ffmpeg().release, planes.front()};
}

// The field has another name since FFmpeg 6, and the old one is gone from 7.
std::int64_t durationOf(const AVFrame& frame) {
#if LIBAVUTIL_VERSION_INT >= AV_VERSION_INT(57, 30, 100)
    return frame.duration;
#else
    return frame.pkt_duration;
#endif
}

QSize fitted(const AVFrame& frame, QSize area) {
    QSize size(frame.width, frame.height);
    const AVRational pixel = frame.sample_aspect_ratio;
    if (pixel.num > 0 && pixel.den > 0) {
        size.setWidth(std::max(1, static_cast<int>(ffmpeg().rescale(frame.width, pixel.num, pixel.den))));
    }
    return size.scaled(area, Qt::KeepAspectRatio).expandedTo({1, 1});
}

} // namespace

struct VideoDecoder::State {
    QSize area;
    Owned<AVFormatContext> format;
    AVStream* stream = nullptr; // the format's
    Owned<AVCodecContext> codec;
    Owned<AVPacket> packet{ffmpeg().allocPacket()};
    Owned<AVFrame> frame{ffmpeg().allocFrame()};
    Owned<SwsContext> scaler;
    std::optional<std::int64_t> firstTime; // in the stream's units
    nanoseconds earliest{0};               // the next frame's

    [[nodiscard]] bool decode() const;
    [[nodiscard]] bool feed() const;
    [[nodiscard]] QImage picture();
    [[nodiscard]] nanoseconds time();
    [[nodiscard]] nanoseconds duration() const;
};

// Into `frame`.
bool VideoDecoder::State::decode() const {
    for (;;) {
        const int status = ffmpeg().receiveFrame(codec.get(), frame.get());
        if (status == 0) {
            return true;
        }
        if (status != AVERROR(EAGAIN) || !feed()) {
            return false;
        }
    }
}

// The next packet of the stream, or that there are no more.
bool VideoDecoder::State::feed() const {
    while (ffmpeg().readFrame(format.get(), packet.get()) >= 0) {
        const bool isOurs = packet->stream_index == stream->index;
        const int status = isOurs ? ffmpeg().sendPacket(codec.get(), packet.get()) : 0;
        ffmpeg().unrefPacket(packet.get());
        if (isOurs && status != AVERROR_INVALIDDATA) { // a damaged packet costs its own picture only
            return status == 0;
        }
    }
    return ffmpeg().sendPacket(codec.get(), nullptr) == 0;
}

QImage VideoDecoder::State::picture() {
    const QSize size = fitted(*frame, area);
    const auto layout = static_cast<AVPixelFormat>(frame->format);
    scaler.reset(ffmpeg().cachedScaler(scaler.release(), frame->width, frame->height, layout, size.width(),
                                       size.height(), AV_PIX_FMT_RGB32, SWS_BICUBIC, nullptr, nullptr,
                                       nullptr));
    QImage image = imageWithPadding(size);
    if (!scaler || image.isNull()) {
        return {};
    }
    const int* coefficients = ffmpeg().coefficients(frame->colorspace);
    const int isFullRange = frame->color_range == AVCOL_RANGE_JPEG ? 1 : 0;
    ffmpeg().setColorspaceDetails(scaler.get(), coefficients, isFullRange, coefficients, 1, 0, 1 << 16,
                                  1 << 16);
    const std::array<std::uint8_t*, 4> planes = {image.bits()};
    const std::array<int, 4> strides = {static_cast<int>(image.bytesPerLine())};
    ffmpeg().scale(scaler.get(), frame->data, frame->linesize, 0, frame->height, planes.data(),
                   strides.data());
    return image;
}

nanoseconds VideoDecoder::State::time() {
    nanoseconds result = earliest;
    const std::int64_t stamp = frame->best_effort_timestamp;
    if (stamp != AV_NOPTS_VALUE) {
        firstTime = firstTime.value_or(stamp);
        const nanoseconds stamped(ffmpeg().rescaleUnits(stamp, stream->time_base, nanosecond) -
                                  ffmpeg().rescaleUnits(*firstTime, stream->time_base, nanosecond));
        result = std::clamp(stamped, earliest, earliest + longestDuration);
    }
    return result;
}

nanoseconds VideoDecoder::State::duration() const {
    const nanoseconds stated(ffmpeg().rescaleUnits(durationOf(*frame), stream->time_base, nanosecond));
    return stated > nanoseconds(0) ? std::min(stated, longestDuration) : usualDuration;
}

VideoDecoder::VideoDecoder(std::unique_ptr<State> state) : state_(std::move(state)) {}

VideoDecoder::~VideoDecoder() = default;

std::unique_ptr<VideoDecoder> VideoDecoder::open(const std::filesystem::path& file, QSize area) {
    if (VideoLibraries::load() == nullptr) {
        return nullptr;
    }
    ffmpeg().setLogLevel(AV_LOG_QUIET);
    auto state = std::make_unique<State>();
    state->area = area;
    state->format = openFormat(file);
    if (!state->format || !state->packet || !state->frame) {
        return nullptr;
    }
    const AVCodec* codec = nullptr;
    state->stream = chooseStream(*state->format, codec);
    if (state->stream == nullptr) {
        return nullptr;
    }
    state->codec = openCodec(codec, *state->stream);
    if (!state->codec) {
        return nullptr;
    }
    return std::unique_ptr<VideoDecoder>(new VideoDecoder(std::move(state)));
}

std::optional<VideoFrame> VideoDecoder::next() {
    if (!state_->decode()) {
        return std::nullopt;
    }
    VideoFrame result{.image = state_->picture(), .time = state_->time(), .duration = state_->duration()};
    ffmpeg().unrefFrame(state_->frame.get());
    if (result.image.isNull()) {
        return std::nullopt;
    }
    state_->earliest = result.time;
    return result;
}

bool VideoDecoder::rewind() {
    ffmpeg().flushBuffers(state_->codec.get());
    state_->earliest = nanoseconds(0);
    const int index = state_->stream->index;
    return ffmpeg().seekFrame(state_->format.get(), index, 0, AVSEEK_FLAG_BACKWARD) >= 0;
}

} // namespace InstallerCore
