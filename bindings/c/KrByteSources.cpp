#include "bindings/c/KrByteSources.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr size_t kMostMapped = size_t{1} << 20; // headers and indexes are far smaller
constexpr uint32_t kSenselessAnswer = UINT32_MAX;

using KrScope = CKrCallbackThreads::CScope;
constexpr auto kInputOutput = CKrCallbackThreads::EKind::InputOutput;

// A part of an output, held in memory as well.
class CKrOutputView final : public IKrMappedView
{
public:
    CKrOutputView(CKrTargetFile& file, uint64_t position, std::span<const uint8_t> bytes)
        : m_file(file), m_position(position), m_bytes(bytes.begin(), bytes.end())
    {
    }

    uint8_t* Data() override { return m_bytes.data(); }
    void Put(size_t offset, KrByteSpan bytes) override
    {
        std::copy(bytes.begin(), bytes.end(), m_bytes.begin() + static_cast<ptrdiff_t>(offset));
        m_file.Patch(m_position + offset, bytes);
    }

private:
    CKrTargetFile& m_file;
    const uint64_t m_position;
    std::vector<uint8_t> m_bytes;
};
} // namespace

std::optional<uint64_t> CKrSourceFile::Size()
{
    const KrScope scope(m_input->Threads(), kInputOutput);
    uint64_t size = 0;
    const kr_input& input = m_input->Get();
    const int32_t error = input.get_size(input.context, &size);
    if (error == 0 && KrPlatform::IsFilePosition(size))
        return size;
    m_input->Object().NoteReadError(error != 0 ? static_cast<uint32_t>(error) : kSenselessAnswer);
    return std::nullopt;
}

SKrTransfer CKrSourceFile::ReadAt(uint64_t position, void* buffer, size_t count)
{
    const KrScope scope(m_input->Threads(), kInputOutput);
    const kr_input& input = m_input->Get();
    size_t done = 0;
    while (done < count)
    {
        size_t copied = 0;
        const int32_t error = input.read_at(input.context, position + done,
                                            static_cast<uint8_t*>(buffer) + done, count - done, &copied);
        if (error != 0 || copied > count - done)
            return {0, error != 0 ? static_cast<uint32_t>(error) : kSenselessAnswer};
        if (copied == 0)
            break;
        done += copied;
    }
    return {done, 0};
}

// The system's number of the failure; 0: none.
uint32_t CKrTargetFile::Write(uint64_t position, KrByteSpan bytes)
{
    const KrScope scope(m_output->Threads(), kInputOutput);
    const kr_output& output = m_output->Get();
    return static_cast<uint32_t>(output.write_at(output.context, position, bytes.data(), bytes.size()));
}

SKrTransfer CKrTargetFile::WriteAt(uint64_t position, std::span<const KrByteSpan> parts)
{
    m_last.clear();
    SKrTransfer done;
    for (const KrByteSpan& part : parts)
    {
        if (part.empty())
            continue;
        done.osError = Write(position + done.bytes, part);
        if (done.Failed())
            return done;
        done.bytes += part.size();
    }
    if (parts.size() == 1 && done.bytes <= kMostMapped)
    {
        m_last.assign(parts[0].begin(), parts[0].end());
        m_lastAt = position;
    }
    return done;
}

SKrFlushOutcome CKrTargetFile::Flush()
{
    if (const uint32_t error = m_patchError.exchange(0); error != 0)
        return {false, error};
    const kr_output& output = m_output->Get();
    if (output.flush == nullptr)
        return {true, 0};
    const KrScope scope(m_output->Threads(), kInputOutput);
    const auto error = static_cast<uint32_t>(output.flush(output.context));
    return {error == 0, error};
}

std::unique_ptr<IKrMappedView> CKrTargetFile::Map(uint64_t position, size_t length)
{
    if (position < m_lastAt || position - m_lastAt > m_last.size() ||
        m_last.size() - (position - m_lastAt) < length)
        return nullptr;
    const std::span<const uint8_t> last(m_last);
    return std::make_unique<CKrOutputView>(*this, position,
                                           last.subspan(static_cast<size_t>(position - m_lastAt), length));
}

bool CKrTargetFile::CutTo(uint64_t size)
{
    const kr_output& output = m_output->Get();
    if (output.truncate == nullptr)
        return false;
    const KrScope scope(m_output->Threads(), kInputOutput);
    return output.truncate(output.context, size) == 0;
}

void CKrTargetFile::Patch(uint64_t position, KrByteSpan bytes)
{
    if (const uint32_t error = Write(position, bytes); error != 0)
        m_patchError = error;
}
