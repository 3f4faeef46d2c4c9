#include "tools/mend/KrUndoRecord.h"

#include "format/KrBytes.h"
#include "tools/avi/KrInputFile.h"

#include <algorithm>

#define XXH_INLINE_ALL
#include <xxhash.h>

namespace KrTool
{
namespace
{
constexpr size_t kUndoHeadSize = 24; // magic, size, checksum
constexpr size_t kUndoFieldsSize = 30;
constexpr size_t kUndoRangeSize = 24;

uint64_t Checksum(std::span<const uint8_t> bytes)
{
    return XXH3_64bits(bytes.data(), bytes.size());
}

// Little of the file, so that the largest take no longer: its start, which has the headers, and some places
// up to its end.
uint64_t ChecksumOfSamples(const CKrByteSource& file, uint64_t size, const std::vector<SKrUndoRange>& ranges)
{
    constexpr uint64_t kStart = 65536;
    constexpr uint64_t kSample = 4096;
    constexpr uint64_t kSamples = 4;
    std::vector<uint8_t> samples;
    for (uint64_t number = 0; number <= kSamples; ++number)
    {
        const uint64_t count = std::min(size, number == 0 ? kStart : kSample);
        const uint64_t position = (size - count) / kSamples * number;
        std::vector<uint8_t> bytes(static_cast<size_t>(count));
        file.Fill(position, bytes);
        for (const SKrUndoRange& range : ranges)
        {
            const uint64_t from = std::clamp(range.position, position, position + count);
            const uint64_t to = std::clamp(range.End(), position, position + count);
            std::fill_n(bytes.begin() + static_cast<ptrdiff_t>(from - position), to - from, uint8_t{0});
        }
        samples.insert(samples.end(), bytes.begin(), bytes.end());
    }
    return Checksum(samples);
}

// Bytes of the file from a position on, as far as it has them.
std::vector<uint8_t> BytesAt(const CKrByteSource& file, uint64_t position, size_t count)
{
    const uint64_t there = position < file.Length() ? file.Length() - position : 0;
    std::vector<uint8_t> bytes(static_cast<size_t>(std::min<uint64_t>(there, count)));
    file.Fill(position, bytes);
    return bytes;
}

// Compares a file with both states of a change.
class CKrUndoComparison
{
public:
    explicit CKrUndoComparison(const CKrByteSource& file) : m_file(file) {}

    EKrUndoState Run(const SKrUndoRecord& record)
    {
        const uint64_t size = m_file.Length();
        if (size < record.oldSize || size > record.newSize ||
            ChecksumOfSamples(m_file, record.oldSize, record.ranges) != record.sampleChecksum)
            return EKrUndoState::OtherFile;
        m_isBefore = size == record.oldSize;
        m_isAfter = size == record.newSize;
        for (const SKrUndoRange& range : record.ranges)
        {
            if (!Compare(range))
                return EKrUndoState::OtherFile;
        }
        if (m_isBefore)
            return EKrUndoState::Before;
        return m_isAfter ? EKrUndoState::After : EKrUndoState::Between;
    }

private:
    // False where a byte is neither the old nor the new one.
    bool Compare(const SKrUndoRange& range)
    {
        const std::vector<uint8_t> there = BytesAt(m_file, range.position, range.oldBytes.size());
        for (size_t place = 0; place < range.oldBytes.size(); ++place)
        {
            const bool isOld = there[place] == range.oldBytes[place];
            const bool isNew = there[place] == range.newBytes[place];
            if (!isOld && !isNew)
                return false;
            m_isBefore = m_isBefore && isOld;
            m_isAfter = m_isAfter && isNew;
        }
        if (m_isAfter && range.addedBytes != 0)
            m_isAfter = Checksum(BytesAt(m_file, range.position + range.oldBytes.size(), range.addedBytes)) ==
                        range.addedChecksum;
        return true;
    }

    const CKrByteSource& m_file;
    bool m_isBefore = false;
    bool m_isAfter = false;
};

// Whether the ranges follow each other, inside of what a file had and of what was added.
bool IsPossible(const SKrUndoRecord& record)
{
    uint64_t last = 0;
    for (const SKrUndoRange& range : record.ranges)
    {
        const uint64_t there = range.oldBytes.size();
        const uint64_t all = there + range.addedBytes;
        if (range.position < last || all > record.newSize || range.position > record.newSize - all ||
            (there != 0 && range.position + there > record.oldSize) ||
            (range.addedBytes != 0 && range.position + there < record.oldSize))
            return false;
        last = range.End();
    }
    return record.oldSize <= record.newSize;
}

// Takes bytes off the front, or nothing where they are fewer.
bool Take(std::span<const uint8_t>& bytes, uint64_t count, std::vector<uint8_t>& taken)
{
    if (count > bytes.size())
        return false;
    taken.assign(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(count));
    bytes = bytes.subspan(static_cast<size_t>(count));
    return true;
}

bool DecodeRange(std::span<const uint8_t>& bytes, SKrUndoRange& range)
{
    std::vector<uint8_t> head;
    if (!Take(bytes, kUndoRangeSize, head))
        return false;
    CKrByteReader in(head);
    range.position = in.U64Le();
    const uint32_t count = in.U32Le();
    range.addedBytes = in.U32Le();
    range.addedChecksum = in.U64Le();
    return Take(bytes, count, range.oldBytes) && Take(bytes, count, range.newBytes);
}

void Append(std::vector<uint8_t>& out, const std::vector<uint8_t>& bytes)
{
    out.insert(out.end(), bytes.begin(), bytes.end());
}
} // namespace

SKrUndoRecord MakeUndoRecord(const CKrByteSource& file, const std::vector<SKrChangedBytes>& differences,
                             const std::string& verb)
{
    SKrUndoRecord record;
    record.verb = verb;
    record.oldSize = file.Length();
    record.newSize = file.Length();
    for (const SKrChangedBytes& difference : differences)
    {
        SKrUndoRange& range = record.ranges.emplace_back();
        range.position = difference.position;
        range.oldBytes = BytesAt(file, difference.position, difference.bytes.size());
        const std::span<const uint8_t> added = difference.bytes.subspan(range.oldBytes.size());
        range.newBytes.assign(difference.bytes.begin(), added.begin());
        range.addedBytes = static_cast<uint32_t>(added.size());
        range.addedChecksum = Checksum(added);
        record.newSize = std::max(record.newSize, difference.End());
    }
    record.sampleChecksum = ChecksumOfSamples(file, record.oldSize, record.ranges);
    return record;
}

std::vector<uint8_t> Encode(const SKrUndoRecord& record)
{
    std::vector<uint8_t> bytes(kUndoMagic, kUndoMagic + sizeof kUndoMagic);
    size_t size = kUndoHeadSize + kUndoFieldsSize + record.verb.size();
    for (const SKrUndoRange& range : record.ranges)
        size += kUndoRangeSize + range.oldBytes.size() + range.newBytes.size();
    bytes.reserve(size);
    CKrByteWriter out(bytes);
    out.U64Le(0);
    out.U64Le(0);
    out.U64Le(record.oldSize);
    out.U64Le(record.newSize);
    out.U64Le(record.sampleChecksum);
    out.U16Le(static_cast<uint16_t>(record.verb.size()));
    out.U32Le(static_cast<uint32_t>(record.ranges.size()));
    bytes.insert(bytes.end(), record.verb.begin(), record.verb.end());
    for (const SKrUndoRange& range : record.ranges)
    {
        out.U64Le(range.position);
        out.U32Le(static_cast<uint32_t>(range.oldBytes.size()));
        out.U32Le(range.addedBytes);
        out.U64Le(range.addedChecksum);
        Append(bytes, range.oldBytes);
        Append(bytes, range.newBytes);
    }
    PutLe64(&bytes[sizeof kUndoMagic], bytes.size());
    PutLe64(&bytes[sizeof kUndoMagic + sizeof(uint64_t)], Checksum(std::span(bytes).subspan(kUndoHeadSize)));
    return bytes;
}

std::optional<SKrDecodedUndo> DecodeUndoRecord(std::span<const uint8_t> bytes)
{
    if (bytes.size() < kUndoHeadSize + kUndoFieldsSize ||
        !std::ranges::equal(bytes.first(sizeof kUndoMagic), kUndoMagic))
        return std::nullopt;
    SKrDecodedUndo decoded;
    decoded.bytes = GetLe64(&bytes[sizeof kUndoMagic]);
    if (decoded.bytes < kUndoHeadSize + kUndoFieldsSize || decoded.bytes > bytes.size())
        return std::nullopt;
    bytes = bytes.first(static_cast<size_t>(decoded.bytes));
    if (GetLe64(&bytes[sizeof kUndoMagic + sizeof(uint64_t)]) != Checksum(bytes.subspan(kUndoHeadSize)))
        return std::nullopt;
    CKrByteReader in(bytes.subspan(kUndoHeadSize));
    SKrUndoRecord& record = decoded.record;
    record.oldSize = in.U64Le();
    record.newSize = in.U64Le();
    record.sampleChecksum = in.U64Le();
    const uint16_t nameSize = in.U16Le();
    const uint32_t count = in.U32Le();
    bytes = bytes.subspan(kUndoHeadSize + kUndoFieldsSize);
    std::vector<uint8_t> name;
    if (!Take(bytes, nameSize, name))
        return std::nullopt;
    record.verb.assign(name.begin(), name.end());
    for (uint32_t number = 0; number < count; ++number)
    {
        if (!DecodeRange(bytes, record.ranges.emplace_back()))
            return std::nullopt;
    }
    return IsPossible(record) ? std::optional(std::move(decoded)) : std::nullopt;
}

EKrUndoState StateOf(const SKrUndoRecord& record, const CKrByteSource& file)
{
    return CKrUndoComparison(file).Run(record);
}
} // namespace KrTool
