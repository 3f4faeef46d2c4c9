// FFmpeg's reader, for comparison.
#ifndef KR_BENCHMARKS_KRLIBAVFORMAT_H
#define KR_BENCHMARKS_KRLIBAVFORMAT_H

#include "benchmarks/KrBench.h"

extern "C"
{
#include <libavformat/avformat.h>
}

namespace KrBench
{
class CKrLibavformat
{
public:
    explicit CKrLibavformat(const std::string& path)
    {
        av_log_set_level(AV_LOG_QUIET);
        Require(avformat_open_input(&m_context, path.c_str(), nullptr, nullptr) == 0, "libavformat");
    }
    ~CKrLibavformat() { avformat_close_input(&m_context); }
    CKrLibavformat(const CKrLibavformat&) = delete;
    CKrLibavformat& operator=(const CKrLibavformat&) = delete;

    // Bytes of all packets of the video stream, which is the first.
    uint64_t ReadVideo()
    {
        for (unsigned stream = 1; stream < m_context->nb_streams; ++stream)
            m_context->streams[stream]->discard = AVDISCARD_ALL;
        AVPacket* packet = av_packet_alloc();
        uint64_t bytes = 0;
        for (; av_read_frame(m_context, packet) >= 0; av_packet_unref(packet))
            bytes += static_cast<uint64_t>(packet->size);
        av_packet_free(&packet);
        return bytes;
    }

private:
    AVFormatContext* m_context = nullptr;
};
} // namespace KrBench

#endif
