#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

namespace InstallerCore {

// What is used of FFmpeg's libraries. They bring more than a hundred others with them: linked, these would
// double the time from the installer's start to its first picture, and most starts show no video at all. So
// they are loaded by who needs them first, and stay.
struct VideoLibraries {
    decltype(&::avformat_open_input) openInput;
    decltype(&::avformat_close_input) closeInput;
    decltype(&::avformat_find_stream_info) findStreamInfo;
    decltype(&::av_find_best_stream) findBestStream;
    decltype(&::av_read_frame) readFrame;
    decltype(&::av_seek_frame) seekFrame;

    decltype(&::avcodec_alloc_context3) allocContext;
    decltype(&::avcodec_free_context) freeContext;
    decltype(&::avcodec_parameters_to_context) parametersToContext;
    decltype(&::avcodec_open2) openCodec;
    decltype(&::avcodec_flush_buffers) flushBuffers;
    decltype(&::avcodec_send_packet) sendPacket;
    decltype(&::avcodec_receive_frame) receiveFrame;
    decltype(&::av_packet_alloc) allocPacket;
    decltype(&::av_packet_free) freePacket;
    decltype(&::av_packet_unref) unrefPacket;

    decltype(&::av_frame_alloc) allocFrame;
    decltype(&::av_frame_free) freeFrame;
    decltype(&::av_frame_unref) unrefFrame;
    decltype(&::av_dict_set) setEntry;
    decltype(&::av_dict_free) freeDictionary;
    decltype(&::av_image_alloc) allocImage;
    decltype(&::av_free) release;
    decltype(&::av_rescale) rescale;
    decltype(&::av_rescale_q) rescaleUnits;
    decltype(&::av_log_set_level) setLogLevel;

    decltype(&::sws_getCachedContext) cachedScaler;
    decltype(&::sws_freeContext) freeScaler;
    decltype(&::sws_getCoefficients) coefficients;
    decltype(&::sws_setColorspaceDetails) setColorspaceDetails;
    decltype(&::sws_scale) scale;

    // Null where they, of the version that this was compiled for, are not installed. Any thread.
    [[nodiscard]] static const VideoLibraries* load();
};

} // namespace InstallerCore
