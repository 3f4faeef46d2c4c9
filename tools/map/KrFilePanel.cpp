// The panel that shows the file by position: segments, lists, the largest chunks, lanes, and damage.
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/map/KrMapPanels.h"
#include "tools/map/KrMapStyle.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace KrTool
{
namespace
{
constexpr double kSegmentHeight = 20;
constexpr double kListHeight = 17;
constexpr double kMarkHeight = 24;
constexpr double kLaneHeight = 26;
constexpr double kLaneGap = 9;
constexpr double kSmallest = 1.5; // pixels; smaller shapes would be invisible
constexpr double kLeastWidth = 4; // of rare things in a large file
constexpr double kLeastHeight = 9;
constexpr double kKeyHeight = 12;
constexpr double kNumberSpace = 16; // from one number of a mark to the next
constexpr double kNumberHeight = 11;
constexpr size_t kMostKeyRows = 4; // of video streams
constexpr double kStubWidth = 40;  // represents what is missing past the end of the file
constexpr double kDamageRow = 17;
constexpr double kLabelFont = 11;
constexpr double kBoldWidth = 1.1; // of bold letters beside others

// A triangle that points down at a place.
void AddMark(CKrSvgPath& path, double x, double y)
{
    path.MoveTo(x, y);
    path.LineTo(x - 3.5, y - 6);
    path.HorizontalTo(x + 3.5);
    path.Close();
}

class CKrFilePanel
{
public:
    CKrFilePanel(const SKrPicture& picture, double y) : m_map(picture.map), m_svg(picture.svg)
    {
        m_hasStub = m_map.MissingBytes() != 0 && m_map.end == m_map.length;
        m_plot.left = kLeftMargin;
        m_plot.top = y;
        m_plot.width = PlotWidth(picture.width) - (m_hasStub ? kStubWidth : 0);
        m_plot.fromX = static_cast<double>(m_map.start);
        m_plot.toX = static_cast<double>(std::max(m_map.end, m_map.start + 1));
        m_lanesTop = y + kSegmentHeight + kListHeight + KeysHeight() + 12;
        PlaceNumbers();
        m_lanesTop += MarksHeight();
        m_plot.height = m_lanesTop - y + static_cast<double>(m_map.lanes.size()) * (kLaneHeight + kLaneGap);
    }

    double Draw()
    {
        m_svg.OpenGroup("file", m_plot.Attributes());
        DrawLists(m_map.segments, m_plot.top, kSegmentHeight, "segment", "Segments");
        DrawLists(m_map.lists, m_plot.top + kSegmentHeight + 3, kListHeight, "part", "Lists");
        DrawKeyFrames(m_plot.top + kSegmentHeight + kListHeight + 9);
        for (size_t lane = 0; lane < m_map.lanes.size(); ++lane)
            DrawLane(m_map.lanes[lane], m_lanesTop + static_cast<double>(lane) * (kLaneHeight + kLaneGap));
        if (m_hasStub)
            DrawStub();
        DrawXAxis(m_svg, m_plot, EKrAxisUnit::Bytes);
        double y = m_plot.Bottom() + 26;
        for (size_t kind = 0; kind < kRegionKinds; ++kind)
            y = DrawRegions(static_cast<EKrRegionKind>(kind), y);
        DrawLargestMarks();
        m_svg.CloseGroup();
        return DrawLegend(y + 14);
    }

private:
    // A range of positions in pixels, cut at the sides; false when it is not in the picture.
    bool Place(uint64_t start, uint64_t end, double& x, double& width) const
    {
        if (end <= m_map.start || start >= m_map.end)
            return false;
        x = m_plot.X(static_cast<double>(std::max(start, m_map.start)));
        width = m_plot.X(static_cast<double>(std::min(end, m_map.end))) - x;
        return true;
    }

    size_t KeyRows() const { return std::min(m_map.keyFrames.size(), kMostKeyRows); }
    double KeysHeight() const
    {
        return m_map.keyFrames.empty() ? 0 : static_cast<double>(KeyRows()) * (kKeyHeight + 5) + 6;
    }

    void RowLabel(double y, std::string_view text)
    {
        m_svg.Label(kLeftMargin - 10, y, text, "strong", EKrAnchor::End);
    }

    // Small ones lie on top of their neighbours.
    void DrawLists(const std::vector<SKrMapList>& lists, double y, double height, const char* id,
                   std::string_view label)
    {
        RowLabel(y + height / 2 + 4, label);
        m_svg.OpenGroup(std::string(id) + 's');
        for (const bool isSmall : {false, true})
        {
            double drawnUntil = 0;
            for (const SKrMapList& list : lists)
            {
                double x = 0;
                double width = 0;
                if (!Place(list.start, list.end, x, width) || (width < kLeastWidth) != isSmall)
                    continue;
                // Many small ones in one place are one rectangle.
                if (isSmall && x < drawnUntil)
                    continue;
                x = std::min(x, m_plot.Right() - std::max(width, kLeastWidth));
                drawnUntil = x + kLeastWidth;
                DrawList(list, x, y, std::max(width, kLeastWidth), height);
            }
        }
        m_svg.CloseGroup();
    }

    void DrawList(const SKrMapList& list, double x, double y, double width, double height)
    {
        const std::string type = FourCcText(list.type);
        const std::string name = std::string("'").append(type).append("'");
        const std::string bytes = BytesText(static_cast<double>(list.end - list.start));
        m_svg.Rect(x, y, width, height, "list", Format("{}, {}", name, bytes));
        for (const std::string& text : {Format("{}  {}", name, bytes), name, type})
        {
            if (TextWidth(text, kLabelFont) + 12 > width)
                continue;
            m_svg.Label(x + 8, y + height / 2 + 4, text, "small");
            break;
        }
    }

    // A line for each key frame, unless all frames are key frames.
    void DrawKeyFrames(double y)
    {
        m_svg.OpenGroup("keys");
        for (size_t row = 0; row < KeyRows(); ++row, y += kKeyHeight + 5)
        {
            const SKrKeyFrames& frames = m_map.keyFrames[row];
            RowLabel(y + 10, m_map.keyFrames.size() == 1
                                 ? "Key frames"
                                 : Format("Key frames, {}", StreamText(EKrStreamKind::Video, frames.stream)));
            const bool isText = frames.keys == frames.frames || frames.keys == 0;
            if (isText)
            {
                m_svg.Label(m_plot.left, y + 10,
                            frames.keys == 0 ? "none" : Format("all {} frames", Grouped(frames.frames)),
                            "small soft");
                continue;
            }
            CKrSvgPath lines;
            for (size_t bin = 0; bin < frames.bins.size(); ++bin)
            {
                if (frames.bins[bin] == 0)
                    continue;
                lines.MoveTo(m_plot.left + m_plot.width * (static_cast<double>(bin) + 0.5) /
                                               static_cast<double>(frames.bins.size()),
                             y);
                lines.VerticalTo(y + kKeyHeight);
            }
            m_svg.Path(lines.Commands(), "key");
        }
        m_svg.CloseGroup();
    }

    // How far above its mark each number stands, so that neighbours do not collide.
    void PlaceNumbers()
    {
        for (const SKrLargeChunk& chunk : m_map.largest)
        {
            const double x = m_plot.X(static_cast<double>(chunk.position));
            size_t level = 0;
            const auto collides = [&](const SKrNumber& other)
            {
                return other.level == level && std::abs(other.x - x) < kNumberSpace;
            };
            while (std::ranges::any_of(m_numbers, collides))
                ++level;
            m_numbers.push_back({x, level});
            m_levels = std::max(m_levels, level + 1);
        }
    }

    double MarksHeight() const
    {
        return m_levels == 0 ? 0 : kMarkHeight + static_cast<double>(m_levels - 1) * kNumberHeight;
    }

    // On top of the hatching.
    void DrawLargestMarks()
    {
        const double bottom = m_lanesTop - 10;
        m_svg.OpenGroup("marks");
        CKrSvgPath marks;
        for (const SKrNumber& number : m_numbers)
            AddMark(marks, number.x, bottom);
        if (!marks.IsEmpty())
        {
            RowLabel(bottom, "Largest chunks");
            m_svg.Path(marks.Commands(), "mark");
        }
        for (size_t rank = 0; rank < m_numbers.size(); ++rank)
            m_svg.Label(m_numbers[rank].x,
                        bottom - 8 - static_cast<double>(m_numbers[rank].level) * kNumberHeight,
                        std::to_string(rank + 1), "small on-top", EKrAnchor::Middle);
        m_svg.CloseGroup();
    }

    // The height in a bin is the share of its bytes that belong to the lane.
    void DrawLane(const SKrLane& lane, double y)
    {
        RowLabel(y + 11, lane.name);
        m_svg.Label(kLeftMargin - 10, y + 24,
                    Format("{}  {}", BytesText(static_cast<double>(lane.bytes)),
                           ShareText(lane.bytes, m_map.Bytes())),
                    "small soft", EKrAnchor::End);
        const double bottom = y + kLaneHeight;
        const std::vector<double> heights = LaneHeights(lane);
        CKrSvgPath path;
        double height = 0;
        for (size_t bin = 0; bin <= heights.size(); ++bin)
        {
            const double next = bin < heights.size() ? heights[bin] : 0;
            if (next == height)
                continue;
            const double x =
                m_plot.left + m_plot.width * static_cast<double>(bin) / static_cast<double>(heights.size());
            if (height == 0)
                path.MoveTo(x, bottom);
            else
                path.HorizontalTo(x);
            path.VerticalTo(bottom - next);
            if (next == 0)
                path.Close();
            height = next;
        }
        std::string id = std::string("lane-") + StyleOf(lane.kind);
        if (lane.stream)
            id.append("-").append(std::to_string(*lane.stream));
        m_svg.OpenGroup(id);
        m_svg.Line(m_plot.left, bottom, m_plot.Right(), bottom, "grid");
        if (!path.IsEmpty())
            m_svg.Path(path.Commands(), StyleOf(lane.kind));
        m_svg.CloseGroup();
        if (lane.kind == EKrSpanKind::Index)
            m_indexLaneTop = y;
    }

    // What is rare in a large file has a least size to be seen.
    std::vector<double> LaneHeights(const SKrLane& lane) const
    {
        const size_t count = lane.bins.size();
        std::vector<double> heights(count);
        for (size_t bin = 0; bin < count; ++bin)
            heights[bin] = BinHeight(lane, bin);
        const bool isRare = lane.kind == EKrSpanKind::Headers || lane.kind == EKrSpanKind::Index ||
                            lane.kind == EKrSpanKind::Unaccounted;
        if (!isRare || count == 0)
            return heights;
        const double width = m_plot.width / static_cast<double>(count);
        const size_t needed =
            std::min(count, static_cast<size_t>(std::max(1.0, std::ceil(kLeastWidth / width))));
        for (size_t bin = 0; bin < count; ++bin)
        {
            size_t end = bin;
            while (end < count && lane.bins[end] != 0)
                ++end;
            if (end == bin || end - bin >= needed)
            {
                bin = std::max(bin, end);
                continue;
            }
            size_t first = bin - std::min(bin, (needed - (end - bin)) / 2);
            first = std::min(first, count - needed);
            for (size_t near = first; near < first + needed; ++near)
                heights[near] = std::max(heights[near], kLeastHeight);
            bin = end;
        }
        return heights;
    }

    double BinHeight(const SKrLane& lane, size_t bin) const
    {
        if (lane.bins[bin] == 0)
            return 0;
        const auto edge = [this, &lane](size_t number)
        {
            return SKrFileMap::BinStart(number, lane.bins.size(), m_map.start, m_map.end);
        };
        const double share =
            static_cast<double>(lane.bins[bin]) / static_cast<double>(edge(bin + 1) - edge(bin));
        // Quarters of a pixel keep the picture small.
        return std::max(kSmallest, std::round(share * kLaneHeight * 4) / 4);
    }

    void DrawStub()
    {
        const double x = m_plot.Right();
        const double height = m_plot.Bottom() - m_plot.top;
        m_svg.OpenGroup("missing");
        m_svg.Rect(x, m_plot.top, kStubWidth, height, "hatch");
        m_svg.Rect(x + kStubWidth / 2 - 9, m_plot.top + 6, 18, height - 12, "paper");
        const std::string text = BytesText(static_cast<double>(m_map.MissingBytes())) + " missing";
        m_svg.VerticalLabel(x + kStubWidth / 2 + 4, m_plot.top + height / 2, text, "small warning");
        m_svg.CloseGroup();
    }

    // Hatches the regions of a kind and labels them below the axis.
    double DrawRegions(EKrRegionKind kind, double y)
    {
        static constexpr const char* kIds[] = {"in-no-chunk", "cut-chunk", "outside", "not-indexed"};
        const bool isIndex = kind == EKrRegionKind::NotIndexed;
        const double top = isIndex ? m_indexLaneTop : m_plot.top;
        const double height = isIndex ? kLaneHeight : m_plot.Bottom() - m_plot.top;
        CKrSvgPath path;
        double widest = 0;
        double pointed = 0; // the middle of the widest region, to which the label belongs
        double drawnUntil = -1;
        for (const SKrRegion& region : m_map.regions.Of(kind).kept)
        {
            double x = 0;
            double width = 0;
            if (!Place(region.start, region.end, x, width) || x + width < drawnUntil)
                continue;
            width = std::max(width, 2.0);
            if (width > widest)
            {
                widest = width;
                pointed = x + width / 2;
            }
            path.AddRect(x, top, width, height);
            drawnUntil = x + width + 1;
        }
        if (path.IsEmpty())
            return y;
        m_isHatched = true;
        m_svg.OpenGroup(kIds[static_cast<size_t>(kind)]);
        m_svg.Path(path.Commands(), "hatch");
        DrawRegionLabel(RegionText(m_map, kind), pointed, y);
        m_svg.CloseGroup();
        return y + kDamageRow;
    }

    void DrawRegionLabel(const std::string& text, double pointed, double y)
    {
        const double half = TextWidth(text, kLabelFont) * kBoldWidth / 2;
        const double right = m_plot.Right() + (m_hasStub ? kStubWidth : 0);
        const double middle = std::max(m_plot.left + half, std::min(pointed, right - half));
        m_svg.Rect(middle - half - 14, y + 1, 10, 10, "hatch");
        m_svg.Label(middle - half, y + 10, text, "small warning");
    }

    // Rows have their names at the left; what remains is what they show, and the hatching if there is any.
    double DrawLegend(double y)
    {
        m_svg.OpenGroup("legend");
        double x = kLeftMargin;
        if (m_isHatched || m_hasStub)
        {
            m_svg.Rect(x, y - 9, 11, 11, "hatch");
            m_svg.Label(x + 16, y, "damage", "small");
            x += 16 + TextWidth("damage", kLabelFont) + 18;
        }
        m_svg.Label(x, y, "height: share of the bytes at that place", "small soft");
        m_svg.CloseGroup();
        return y;
    }

    struct SKrNumber
    {
        double x = 0;
        size_t level = 0;
    };

    const SKrFileMap& m_map;
    CKrSvg& m_svg;
    SKrPlot m_plot;
    std::vector<SKrNumber> m_numbers; // of the largest chunks
    size_t m_levels = 0;
    bool m_hasStub = false;
    bool m_isHatched = false;
    double m_lanesTop = 0;
    double m_indexLaneTop = 0;
};
} // namespace

double DrawFilePanel(const SKrPicture& picture, double y)
{
    y = DrawHeading(picture, y, "The file by position");
    return CKrFilePanel(picture, y).Draw();
}
} // namespace KrTool
