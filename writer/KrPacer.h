// Keeps queued chunks some time apart, which leaves the disk to others in between.
#ifndef KR_WRITER_KRPACER_H
#define KR_WRITER_KRPACER_H

#include "platform/KrPlatform.h"
#include "writer/KrMilliseconds.h"

#include <cstdint>

// By ticks, as recordings by the defaults always were paced; or by the performance counter, which is finer
// than a host's clock may be.
class CKrPacer
{
public:
    explicit CKrPacer(IKrClock& clock) : m_clock(clock) {}

    void Reset(uint32_t intervalMs = kUsualInterval, bool usesTicks = true)
    {
        m_interval = intervalMs;
        m_usesTicks = usesTicks;
        m_lastChunk = 0;
    }

    // Called after each chunk.
    void Pace()
    {
        if (m_interval == 0)
            return;
        const uint32_t now = Now();
        if (m_lastChunk == 0)
            m_lastChunk = now - (m_interval - 1);
        const uint32_t elapsed = now - m_lastChunk; // modulo 2^32, like the tick count itself
        if (elapsed < m_interval)
            m_clock.Sleep(m_interval - elapsed);
        m_lastChunk = Now();
    }

private:
    // Milliseconds.
    [[nodiscard]] uint32_t Now() const
    {
        return m_usesTicks ? m_clock.TickCount() : static_cast<uint32_t>(NowMs(m_clock));
    }

    static constexpr uint32_t kUsualInterval = 5;

    IKrClock& m_clock;
    uint32_t m_interval = kUsualInterval; // milliseconds
    bool m_usesTicks = true;
    uint32_t m_lastChunk = 0; // 0: no chunk yet
};

#endif
