#include "tools/copier/KrStreamTime.h"

#include "format/KrFourCC.h"
#include "tools/avi/KrAudioRange.h"
#include "tools/avi/KrAviFacts.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrToolError.h"

#include <algorithm>
#include <optional>

namespace KrTool
{
bool IsPlainSound(const SKrCarriedStream& stream)
{
    const SKrAudioFormat format = {DecodeResolvedWaveFormat(stream.Format())};
    return stream.Fields().type == kFccAuds && format.IsUncompressed();
}

CKrStreamTime::CKrStreamTime(const SKrCarriedStream& video, const SKrCarriedStream& stream, uint32_t number,
                             std::string file)
    : m_video(video.Fields()), m_fields(stream.Fields()), m_rate(m_fields.rate), m_scale(m_fields.scale),
      m_number(number), m_file(std::move(file))
{
    const SKrWaveFormat format = DecodeWaveFormat(stream.Format());
    if (IsPlainSound(stream))
    {
        m_rate = format.samplesPerSec;
        m_scale = 1;
        m_unitBytes = format.blockAlign;
        m_cutting = EKrCutting::Bytes;
    }
    else if (m_fields.type != kFccAuds || m_fields.sampleSize == 0)
    {
        m_cutting = EKrCutting::WholeChunks;
    }
    else
    {
        m_unitBytes = m_fields.sampleSize;
        const bool isBlock = m_unitBytes > 1 && m_unitBytes == format.blockAlign;
        m_cutting = isBlock ? EKrCutting::Bytes : EKrCutting::Packets;
    }
    if (m_fields.start == 0)
        return;
    const auto start = AudioUnitsUntil(m_fields.start, {m_fields.rate, m_fields.scale}, {m_rate, m_scale});
    if (!start || *start > INT64_MAX)
        Refuse();
    m_start = static_cast<int64_t>(*start);
}

void CKrStreamTime::Refuse() const
{
    throw CKrToolError(
        m_file, Format("stream {} has no usable rate, so that nothing leads from frames to it", m_number));
}

int64_t CKrStreamTime::UnitAtFrame(uint64_t frame) const
{
    const auto time =
        frame > UINT64_MAX - m_video.start
            ? std::nullopt
            : AudioUnitsUntil(frame + m_video.start, {m_video.rate, m_video.scale}, {m_rate, m_scale});
    if (!time || *time > INT64_MAX)
        Refuse();
    return static_cast<int64_t>(*time) - m_start;
}

double CKrStreamTime::SecondsAfterFrame(int64_t unit, uint64_t frame) const
{
    const double unitSeconds = static_cast<double>(m_scale) / m_rate;
    const double frameSeconds = static_cast<double>(m_video.scale) / m_video.rate;
    return static_cast<double>(unit + m_start) * unitSeconds -
           static_cast<double>(frame + m_video.start) * frameSeconds;
}

uint32_t CKrStreamTime::AsStart(uint64_t units) const
{
    const auto start = AudioUnitsUntil(units, {m_rate, m_scale}, {m_fields.rate, m_fields.scale});
    return static_cast<uint32_t>(std::min<uint64_t>(start.value_or(0), UINT32_MAX));
}
} // namespace KrTool
