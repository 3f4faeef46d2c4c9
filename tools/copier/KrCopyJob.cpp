#include "tools/copier/KrCopyJob.h"

#include "format/KrFourCC.h"

namespace KrTool
{
uint32_t BytesOfUnit(const SKrCarriedStream& stream)
{
    const SKrStreamHeader fields = stream.Fields();
    return fields.type == kFccVids ? 0 : fields.sampleSize;
}

std::vector<uint64_t> UnitsOfStreams(const SKrCopyJob& job)
{
    std::vector<uint32_t> unit;
    for (const SKrCarriedStream& stream : job.header.streams)
        unit.push_back(BytesOfUnit(stream));
    std::vector<uint64_t> units(unit.size());
    job.ForEach(0, job.ChunkCount(),
                [&](const SKrCopyClip&, const SKrCarriedChunk& chunk)
                {
                    if (unit[chunk.stream] != 0)
                        units[chunk.stream] += chunk.size;
                    else if (!chunk.IsPaletteChange())
                        ++units[chunk.stream];
                });
    for (size_t number = 0; number < unit.size(); ++number)
        units[number] /= std::max(unit[number], 1U);
    return units;
}

void SetLengths(SKrCopyJob& job)
{
    const std::vector<uint64_t> units = UnitsOfStreams(job);
    for (size_t number = 0; number < units.size(); ++number)
        job.header.streams[number].SetLength(
            static_cast<uint32_t>(std::min<uint64_t>(units[number], UINT32_MAX)));
}
} // namespace KrTool
