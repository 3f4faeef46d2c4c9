#include "tools/mend/KrTextPlan.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "tools/avi/KrInputFile.h"
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/command/KrToolError.h"

#include <algorithm>

namespace KrTool
{
namespace
{
std::string TextOf(const SKrHeaderChunk& chunk)
{
    return {chunk.bytes.begin(), std::ranges::find(chunk.bytes, uint8_t{0})};
}

void AppendHeader(std::vector<uint8_t>& out, uint32_t id, size_t size)
{
    CKrByteWriter writer(out);
    writer.U32Le(id);
    writer.U32Le(static_cast<uint32_t>(size));
}

// The list with its texts and the filler that takes the rest of their space.
class CKrTextSpaceFilling
{
public:
    CKrTextSpaceFilling(const CKrByteSource& file, SKrTextSpace space)
        : m_file(file), m_space(std::move(space))
    {
    }

    void Set(uint32_t id, const std::string& text, SKrFieldPlan& plan)
    {
        const auto found = std::ranges::find(m_space.texts, id, &SKrHeaderChunk::id);
        const bool isThere = found != m_space.texts.end();
        plan.changes.push_back({FourCcText(id), std::nullopt, m_space.position,
                                isThere ? Printable(TextOf(*found)) : std::string(), text});
        SKrHeaderChunk& chunk = isThere ? *found : m_space.texts.emplace_back();
        chunk.id = id;
        chunk.bytes.assign(text.begin(), text.end());
        chunk.bytes.push_back(0);
        chunk.size = static_cast<uint32_t>(chunk.bytes.size());
    }

    void Put(CKrBytePatches& patches)
    {
        std::vector<uint8_t> bytes = List();
        const uint64_t room = m_space.end - m_space.position;
        if (bytes.size() > room)
            throw CKrToolError(m_file.Path(),
                               Format("the texts about the file need {}, and there is room for {}; "
                                      "shorter ones may fit",
                                      Counted(bytes.size(), "byte"), room));
        // What is left has room for the header of a filler, or ends the last text.
        const auto left = static_cast<size_t>(room - bytes.size());
        if (left != 0 && left < kChunkHeaderSize)
        {
            SKrHeaderChunk& last = m_space.texts.back();
            last.bytes.resize(RoundUpToEven(last.bytes.size()) + left);
            bytes = List();
        }
        else if (left != 0)
        {
            AppendHeader(bytes, kFccJunk, left - kChunkHeaderSize);
        }
        bytes.resize(static_cast<size_t>(room));
        patches.Put(m_space.position, std::move(bytes));
    }

private:
    [[nodiscard]] std::vector<uint8_t> List() const
    {
        std::vector<uint8_t> out;
        AppendHeader(out, kFccList, 0);
        CKrByteWriter(out).U32Le(kFccInfo);
        for (const SKrHeaderChunk& text : m_space.texts)
        {
            AppendHeader(out, text.id, text.bytes.size());
            out.insert(out.end(), text.bytes.begin(), text.bytes.end());
            out.resize(RoundUpToEven(out.size()));
        }
        PutLe32(&out[sizeof(uint32_t)], static_cast<uint32_t>(out.size() - kChunkHeaderSize));
        return out;
    }

    const CKrByteSource& m_file;
    SKrTextSpace m_space;
};
} // namespace

void PlanTexts(const CKrByteSource& file, const SKrHeaderPlaces& places, const SKrFieldValues& values,
               SKrFieldPlan& plan)
{
    if (values.texts.empty())
        return;
    if (!places.texts)
        throw CKrToolError(file.Path(),
                           "it has neither texts ('INFO') nor filler in which they would have room");
    const bool isWhole = std::ranges::all_of(places.texts->texts, [](const SKrHeaderChunk& text)
                                             { return text.bytes.size() == text.size; });
    if (!isWhole)
        throw CKrToolError(file.Path(), "its texts ('INFO') are too long to be changed");
    CKrTextSpaceFilling filling(file, *places.texts);
    for (const auto& [id, text] : values.texts)
        filling.Set(id, text, plan);
    filling.Put(plan.patches);
}
} // namespace KrTool
