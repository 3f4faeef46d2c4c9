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
constexpr double kStubWidth = 40; // represents what is missing past the end of the file
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
        m_lanesTop = y + kSegmentHeight + kListHeight + kMarkHeight + 12;
        m_plot.height = m_lanesTop - y + static_cast<double>(m_map.lanes.size()) * (kLaneHeight + kLaneGap);
    }

    double Draw()
    {
        m_svg.OpenGroup("file", m_plot.Attributes());
        DrawLists(m_map.segments, m_plot.top, kSegmentHeight, "segment", "Segments");
        DrawLists(m_map.lists, m_plot.top + kSegmentHeight + 3, kListHeight, "part", "Lists");
        DrawLargestMarks();
        for (size_t lane = 0; lane < m_map.lanes.size(); ++lane)
            DrawLane(m_map.lanes[lane], m_lanesTop + static_cast<double>(lane) * (kLaneHeight + kLaneGap));
        if (m_hasStub)
            DrawStub();
        DrawXAxis(m_svg, m_plot, EKrAxisUnit::Bytes);
        double y = m_plot.Bottom() + 26;
        for (size_t kind = 0; kind < kRegionKinds; ++kind)
            y = DrawRegions(static_cast<EKrRegionKind>(kind), y);
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

    void RowLabel(double y, std::string_view text)
    {
        m_svg.Label(kLeftMargin - 10, y, text, "strong", EKrAnchor::End);
    }

    void DrawLists(const std::vector<SKrMapList>& lists, double y, double height, const char* id,
                   std::string_view label)
    {
        RowLabel(y + height / 2 + 4, label);
        m_svg.OpenGroup(std::string(id) + 's');
        double drawnUntil = m_plot.left;
        for (size_t number = 0; number < lists.size(); ++number)
        {
            const SKrMapList& list = lists[number];
            double x = 0;
            double width = 0;
            if (!Place(list.start, list.end, x, width))
                continue;
            // Many small ones in one pixel are one rectangle.
            if (x + width < drawnUntil + 0.5)
                continue;
            drawnUntil = x + width;
            const std::string type = FourCcText(list.type);
            const std::string name = std::string("'").append(type).append("'");
            const std::string bytes = BytesText(static_cast<double>(list.end - list.start));
            m_svg.Rect(x, y, std::max(width, kSmallest), height, "list", Format("{}, {}", name, bytes));
            for (const std::string& text : {Format("{}  {}", name, bytes), name, type})
            {
                if (TextWidth(text, kLabelFont) + 8 > width)
                    continue;
                m_svg.Label(x + 5, y + height / 2 + 4, text, "small");
                break;
            }
        }
        m_svg.CloseGroup();
    }

    void DrawLargestMarks()
    {
        const double bottom = m_lanesTop - 10;
        m_svg.OpenGroup("marks");
        CKrSvgPath marks;
        std::vector<double> labels; // of numbers already drawn
        for (size_t rank = 0; rank < m_map.largest.size(); ++rank)
        {
            const double x = m_plot.X(static_cast<double>(m_map.largest[rank].position));
            AddMark(marks, x, bottom);
            const bool isFree =
                std::ranges::none_of(labels, [x](double other) { return std::abs(other - x) < 16; });
            if (!isFree)
                continue;
            labels.push_back(x);
            m_svg.Label(x, bottom - 8, std::to_string(rank + 1), "small", EKrAnchor::Middle);
        }
        if (!marks.IsEmpty())
        {
            RowLabel(bottom, "Largest chunks");
            m_svg.Path(marks.Commands(), "mark");
        }
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
        CKrSvgPath path;
        double height = 0;
        for (size_t bin = 0; bin <= lane.bins.size(); ++bin)
        {
            const double next = bin < lane.bins.size() ? BinHeight(lane, bin) : 0;
            if (next == height)
                continue;
            const double x =
                m_plot.left + m_plot.width * static_cast<double>(bin) / static_cast<double>(lane.bins.size());
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

    // Wraps entries that would extend past the picture.
    void WrapLegend(std::string_view text, double& x, double& y) const
    {
        const double right = m_plot.Right() + (m_hasStub ? kStubWidth : 0) + kRightMargin - kSideMargin;
        if (x + 16 + TextWidth(text, kLabelFont) <= right)
            return;
        x = kLeftMargin;
        y += 16;
    }

    double DrawLegend(double y)
    {
        struct SKrEntry
        {
            const char* style;
            const char* text;
        };
        static constexpr SKrEntry kEntries[] = {
            {"headers", "headers"},  {"index", "indexes"},   {"video", "video"}, {"audio", "audio"},
            {"other", "other data"}, {"padding", "padding"}, {"hatch", "damage"}};
        m_svg.OpenGroup("legend");
        double x = kLeftMargin;
        for (const SKrEntry& entry : kEntries)
        {
            WrapLegend(entry.text, x, y);
            m_svg.Rect(x, y - 9, 11, 11, entry.style);
            m_svg.Label(x + 16, y, entry.text, "small");
            x += 16 + TextWidth(entry.text, kLabelFont) + 18;
        }
        static constexpr char kMark[] = "one of the largest chunks";
        WrapLegend(kMark, x, y);
        CKrSvgPath mark;
        AddMark(mark, x + 5, y);
        m_svg.Path(mark.Commands(), "mark");
        m_svg.Label(x + 16, y, kMark, "small");
        m_svg.Label(kLeftMargin, y + 16, "height: share of the bytes at that place", "small soft");
        m_svg.CloseGroup();
        return y + 16;
    }

    const SKrFileMap& m_map;
    CKrSvg& m_svg;
    SKrPlot m_plot;
    bool m_hasStub = false;
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
