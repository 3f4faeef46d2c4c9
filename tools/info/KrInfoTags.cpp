#include "tools/info/KrInfoTags.h"

#include "format/KrBytes.h"
#include "format/KrChunkHeader.h"
#include "format/KrFourCC.h"
#include "tools/copier/KrCarriedHeader.h"

#include <algorithm>
#include <iterator>
#include <span>
#include <string_view>

namespace KrTool
{
namespace
{
constexpr size_t kLongestText = 4096;

struct SKrTagName
{
    uint32_t id;
    std::string_view name;
};

constexpr SKrTagName kTagNames[] = {
    {KrFourCC("INAM"), "title"},    {KrFourCC("IART"), "artist"},     {KrFourCC("ICOP"), "copyright"},
    {KrFourCC("ICRD"), "date"},     {KrFourCC("ICMT"), "comment"},    {KrFourCC("IGNR"), "genre"},
    {KrFourCC("IPRD"), "product"},  {KrFourCC("ISBJ"), "subject"},    {KrFourCC("IKEY"), "keywords"},
    {KrFourCC("IENG"), "engineer"}, {KrFourCC("ITCH"), "encoded by"}, {KrFourCC("ISRC"), "source"},
    {KrFourCC("IPRT"), "part"},     {KrFourCC("ITRK"), "track"},      {KrFourCC("ILNG"), "language"},
    {KrFourCC("IAS1"), "language"}, {KrFourCC("ICNT"), "country"},    {KrFourCC("IWRI"), "writer"},
    {KrFourCC("IMED"), "medium"},   {kFccIsft, "software"},           {kFccIsmp, "time code"},
    {kFccIdit, "recorded"},
};

void AddTag(uint32_t id, std::span<const uint8_t> data, std::vector<SKrInfoTag>& tags)
{
    const auto end = std::ranges::find(data, uint8_t{0});
    std::string text(data.begin(), end);
    text.resize(std::min(text.size(), kLongestText));
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' '))
        text.pop_back();
    if (text.empty())
        return;
    const auto* const name = std::ranges::find(kTagNames, id, &SKrTagName::id);
    tags.push_back(
        {id, name != std::end(kTagNames) ? std::string(name->name) : std::string(), std::move(text)});
}

void AddList(std::span<const uint8_t> list, std::vector<SKrInfoTag>& tags)
{
    while (list.size() >= kChunkHeaderSize)
    {
        const uint32_t id = GetLe32(list.data());
        const size_t size = std::min<size_t>(GetLe32(list.data() + 4), list.size() - kChunkHeaderSize);
        AddTag(id, list.subspan(kChunkHeaderSize, size), tags);
        list = list.subspan(std::min(list.size(), kChunkHeaderSize + size + size % 2));
    }
}

void AddChunks(const std::vector<SKrCarriedBytes>& chunks, std::vector<SKrInfoTag>& tags)
{
    for (const SKrCarriedBytes& chunk : chunks)
    {
        const std::span<const uint8_t> data = chunk.data;
        if (chunk.id == kFccIdit || chunk.id == kFccIsmp)
            AddTag(chunk.id, data, tags);
        else if (chunk.id == kFccList && data.size() >= 4 && GetLe32(data.data()) == kFccInfo)
            AddList(data.subspan(4), tags);
    }
}
} // namespace

std::vector<SKrInfoTag> ReadInfoTags(const SKrCarriedHeader& header)
{
    std::vector<SKrInfoTag> tags;
    AddChunks(header.headerChunks, tags);
    AddChunks(header.beforeData, tags);
    AddChunks(header.afterData, tags);
    return tags;
}
} // namespace KrTool
