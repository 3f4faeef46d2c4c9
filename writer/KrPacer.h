// Keeps queued chunks at least five milliseconds apart, which leaves the disk to others in between.
#ifndef KR_WRITER_KRPACER_H
#define KR_WRITER_KRPACER_H

#include "platform/KrPlatform.h"

#include <cstdint>

class CKrPacer
{
public:
    explicit CKrPacer(IKrClock& clock) : m_clock(clock) {}

    void Reset() { m_lastChunk = 0; }

    // Called after each chunk.
    void Pace()
    {
        const uint32_t now = m_clock.TickCount();
        if (m_lastChunk == 0)
            m_lastChunk = now - 4;
        const uint32_t elapsed = now - m_lastChunk; // modulo 2^32, like the tick count itself
        if (elapsed < kInterval)
            m_clock.Sleep(kInterval - elapsed);
        m_lastChunk = m_clock.TickCount();
    }

private:
    static constexpr uint32_t kInterval = 5; // milliseconds

    IKrClock& m_clock;
    uint32_t m_lastChunk = 0; // tick count; 0: no chunk yet
};

#endif
