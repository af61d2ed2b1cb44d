#include "hosts/linux/window/VideoLibraries.h"

#include <dlfcn.h>

#include <optional>
#include <string>

namespace InstallerCore {

namespace {

class Library {
public:
    // By the name that programs are linked to.
    Library(const char* name, int version)
        : handle_(dlopen((std::string(name) + ".so." + std::to_string(version)).c_str(), RTLD_LAZY)) {}

    template <typename Function>
    bool find(const char* name, Function& function) const {
        function = handle_ == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(handle_, name));
        return function != nullptr;
    }

private:
    void* handle_; // never closed
};

std::optional<VideoLibraries> loaded() {
    const Library format("libavformat", LIBAVFORMAT_VERSION_MAJOR);
    const Library codec("libavcodec", LIBAVCODEC_VERSION_MAJOR);
    const Library utilities("libavutil", LIBAVUTIL_VERSION_MAJOR);
    const Library scaler("libswscale", LIBSWSCALE_VERSION_MAJOR);
    VideoLibraries result{};
    const bool isComplete =
        format.find("avformat_open_input", result.openInput) &&
        format.find("avformat_close_input", result.closeInput) &&
        format.find("avformat_find_stream_info", result.findStreamInfo) &&
        format.find("av_find_best_stream", result.findBestStream) &&
        format.find("av_read_frame", result.readFrame) && format.find("av_seek_frame", result.seekFrame) &&
        codec.find("avcodec_alloc_context3", result.allocContext) &&
        codec.find("avcodec_free_context", result.freeContext) &&
        codec.find("avcodec_parameters_to_context", result.parametersToContext) &&
        codec.find("avcodec_open2", result.openCodec) &&
        codec.find("avcodec_flush_buffers", result.flushBuffers) &&
        codec.find("avcodec_send_packet", result.sendPacket) &&
        codec.find("avcodec_receive_frame", result.receiveFrame) &&
        codec.find("av_packet_alloc", result.allocPacket) &&
        codec.find("av_packet_free", result.freePacket) &&
        codec.find("av_packet_unref", result.unrefPacket) &&
        utilities.find("av_frame_alloc", result.allocFrame) &&
        utilities.find("av_frame_free", result.freeFrame) &&
        utilities.find("av_frame_unref", result.unrefFrame) &&
        utilities.find("av_dict_set", result.setEntry) &&
        utilities.find("av_dict_free", result.freeDictionary) &&
        utilities.find("av_image_alloc", result.allocImage) && utilities.find("av_free", result.release) &&
        utilities.find("av_rescale", result.rescale) && utilities.find("av_rescale_q", result.rescaleUnits) &&
        utilities.find("av_log_set_level", result.setLogLevel) &&
        scaler.find("sws_getCachedContext", result.cachedScaler) &&
        scaler.find("sws_freeContext", result.freeScaler) &&
        scaler.find("sws_getCoefficients", result.coefficients) &&
        scaler.find("sws_setColorspaceDetails", result.setColorspaceDetails) &&
        scaler.find("sws_scale", result.scale);
    return isComplete ? std::optional(result) : std::nullopt;
}

} // namespace

const VideoLibraries* VideoLibraries::load() {
    static const std::optional<VideoLibraries> libraries = loaded();
    return libraries ? &*libraries : nullptr;
}

} // namespace InstallerCore
