// The page: the picture, and below it the numbers as tables.
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/map/KrMapPanels.h"
#include "tools/map/KrMapPicture.h"
#include "tools/map/KrMapStyle.h"

#include <vector>

namespace KrTool
{
namespace
{
constexpr size_t kMostRows = 200; // of a table

using Cells = std::vector<std::string>;

// A table whose columns are numbers from a column on.
class CKrHtmlTable
{
public:
    CKrHtmlTable(std::string_view heading, size_t firstNumber, const Cells& names)
        : m_firstNumber(firstNumber)
    {
        m_text = Format("<h2>{}</h2>\n<div class=\"scroll\"><table>\n", Escaped(heading));
        AddRow(names, "th");
    }

    void Add(const Cells& cells)
    {
        if (m_rows++ < kMostRows)
            AddRow(cells, "td");
    }

    // The table, or nothing when it has no rows.
    std::string Text() const
    {
        if (m_rows == 0)
            return {};
        const std::string more =
            m_rows > kMostRows ? Format("<p>and {} more</p>\n", m_rows - kMostRows) : std::string();
        return Format("{}</table></div>\n{}", m_text, more);
    }

private:
    void AddRow(const Cells& cells, const std::string& tag)
    {
        m_text += "<tr>";
        for (size_t column = 0; column < cells.size(); ++column)
        {
            const char* const style = column >= m_firstNumber ? " class=\"number\"" : "";
            m_text += Format("<{}{}>{}</{}>", tag, style, Escaped(cells[column]), tag);
        }
        m_text += "</tr>\n";
    }

    std::string m_text;
    size_t m_firstNumber;
    size_t m_rows = 0;
};

std::string Findings(const SKrFileMap& map)
{
    if (map.damage.empty())
        return {};
    std::string text = "<h2>Findings</h2>\n<ul>\n";
    for (const std::string& finding : map.damage)
        text += Format("<li class=\"found\">{}</li>\n", Escaped(finding));
    return text + "</ul>\n";
}

std::string RegionTable(const SKrFileMap& map)
{
    static constexpr const char* kNames[] = {"in no chunk", "truncated chunk", "outside 'movi'",
                                             "not in the index"};
    CKrHtmlTable table("Damaged places", 1, {"what", "position", "end", "bytes"});
    for (size_t kind = 0; kind < kRegionKinds; ++kind)
    {
        for (const SKrRegion& region : map.regions[kind].kept)
            table.Add({kNames[kind], Grouped(region.start), Grouped(region.end),
                       Grouped(region.end - region.start)});
    }
    return table.Text();
}

std::string ListTable(std::string_view heading, const std::vector<SKrMapList>& lists, uint64_t length)
{
    CKrHtmlTable table(heading, 1, {"type", "position", "end", "bytes", "missing"});
    for (const SKrMapList& list : lists)
    {
        const uint64_t missing = list.completed && list.claimedEnd > length ? list.claimedEnd - length : 0;
        table.Add({FourCcText(list.type), Grouped(list.start), Grouped(list.end),
                   Grouped(list.end - list.start), Grouped(missing)});
    }
    return table.Text();
}

std::string LaneTable(const SKrFileMap& map)
{
    CKrHtmlTable table("Bytes by kind", 1, {"kind", "chunks", "bytes", "share"});
    for (const SKrLane& lane : map.lanes)
        table.Add({lane.name, lane.stream ? Grouped(lane.chunks) : "", Grouped(lane.bytes),
                   ShareText(lane.bytes, map.Bytes())});
    return table.Text();
}

std::string LargestTable(const SKrFileMap& map)
{
    CKrHtmlTable table("Largest chunks", 2, {"rank", "stream", "chunk", "time", "position", "size"});
    size_t rank = 0;
    for (const SKrLargeChunk& chunk : map.largest)
        table.Add({Grouped(++rank), StreamText(chunk.kind, chunk.stream), Grouped(chunk.number),
                   chunk.seconds ? TimeText(*chunk.seconds) : "", Grouped(chunk.position),
                   Grouped(chunk.size)});
    return table.Text();
}
} // namespace

std::string MapPage(const SKrFileMap& map, uint64_t width)
{
    return Format(R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width, initial-scale=1">
<title>{}</title>
<style>
{}</style>
</head>
<body>
<main>
{}<div class="tables">
{}{}{}{}{}{}</div>
</main>
</body>
</html>
)",
                  Escaped("Map of " + map.name), PageStyle(width), MapPicture(map, width, false),
                  Findings(map), RegionTable(map), LaneTable(map),
                  ListTable("Segments", map.segments, map.length), ListTable("Lists", map.lists, map.length),
                  LargestTable(map));
}
} // namespace KrTool
