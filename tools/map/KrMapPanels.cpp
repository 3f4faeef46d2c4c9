#include "tools/map/KrMapPanels.h"

#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr double kAxisFont = 11;
constexpr double kTickSpace = 90; // at least, from label to label
constexpr double kFactFont = 12;
constexpr double kNameFont = 20;
constexpr double kLineHeight = 18;
constexpr size_t kMostDamageLines = 12;

// Text pieces, as many on a line as fit.
std::vector<std::string> Lines(const std::vector<std::string>& pieces, double width, double fontSize)
{
    std::vector<std::string> lines;
    for (const std::string& piece : pieces)
    {
        const std::string joined = lines.empty() ? piece : Format("{}  \u00B7  {}", lines.back(), piece);
        if (!lines.empty() && TextWidth(joined, fontSize) <= width)
            lines.back() = joined;
        else
            lines.push_back(piece);
    }
    return lines;
}

double DrawDamageLines(const SKrPicture& picture, double y)
{
    const std::vector<std::string>& damage = picture.map.damage;
    for (size_t number = 0; number < std::min(damage.size(), kMostDamageLines); ++number, y += kLineHeight)
    {
        const bool isLast = number + 1 == kMostDamageLines && damage.size() > kMostDamageLines;
        const auto most = static_cast<size_t>((picture.width - 3 * kSideMargin) / kFactFont / 0.62);
        const std::string text = isLast ? Format("and {} more findings", damage.size() - number)
                                        : Shortened(Printable(damage[number]), most);
        picture.svg.Rect(kSideMargin, y - 10, 11, 11, "hatch");
        picture.svg.Label(kSideMargin + 18, y, text, "warning");
    }
    return y;
}
} // namespace

std::string SKrPlot::Attributes() const
{
    const auto attribute = [](const char* name, double value)
    {
        return Format(" data-{}=\"{}\"", name, Trimmed(value, 6));
    };
    return attribute("left", left) + attribute("top", top) + attribute("width", width) +
           attribute("height", height) + attribute("from-x", fromX) + attribute("to-x", toX) +
           attribute("from-y", fromY) + attribute("to-y", toY);
}

double PlotWidth(double pictureWidth)
{
    return pictureWidth - kLeftMargin - kRightMargin;
}

double DrawHeading(const SKrPicture& picture, double y, std::string_view heading,
                   const std::vector<std::string>& pieces)
{
    picture.svg.Label(kSideMargin, y, heading, "heading");
    for (const std::string& line : Lines(pieces, picture.width - 2 * kSideMargin, kFactFont))
    {
        y += 17;
        picture.svg.Label(kSideMargin, y, line, "soft");
    }
    return y + 16;
}

void DrawXAxis(CKrSvg& svg, const SKrPlot& plot, EKrAxisUnit unit)
{
    const auto most = static_cast<size_t>(std::max(2.0, plot.width / kTickSpace));
    for (const SKrTick& tick : RoundTicks(plot.fromX, plot.toX, most, unit))
    {
        const double x = plot.X(tick.value);
        svg.Line(x, plot.Bottom(), x, plot.Bottom() + 4, "axis");
        // Labels at the sides stay inside the picture.
        const double half = TextWidth(tick.label, kAxisFont) / 2;
        const double middle = std::min(x, plot.Right() + kRightMargin - 2 - half);
        svg.Label(middle, plot.Bottom() + 17, tick.label, "small soft", EKrAnchor::Middle);
    }
    svg.Line(plot.left, plot.Bottom(), plot.Right(), plot.Bottom(), "axis");
}

void DrawYAxis(CKrSvg& svg, const SKrPlot& plot, EKrAxisUnit unit)
{
    const auto most = static_cast<size_t>(std::max(2.0, plot.height / 22));
    for (const SKrTick& tick : RoundTicks(plot.fromY, plot.toY, most, unit))
    {
        const double y = plot.Y(tick.value);
        svg.Line(plot.left, y, plot.Right(), y, tick.value == 0 ? "axis" : "grid");
        svg.Label(plot.left - 8, y + 4, tick.label, "small soft", EKrAnchor::End);
    }
    svg.Line(plot.left, plot.top, plot.left, plot.Bottom(), "axis");
}

double DrawTitle(const SKrPicture& picture, double y)
{
    const double width = picture.width - 2 * kSideMargin;
    picture.svg.OpenGroup("title");
    const auto most = static_cast<size_t>(width / kNameFont / 0.62);
    picture.svg.Label(kSideMargin, y + 28, Shortened(Printable(picture.map.name), most), "name");
    y += 52;
    for (const std::string& line : Lines(picture.map.facts, width, kFactFont))
    {
        picture.svg.Label(kSideMargin, y, line, "soft");
        y += kLineHeight;
    }
    if (picture.map.isPart)
    {
        picture.svg.Label(kSideMargin, y,
                          Format("shown: frames {} to {}, positions {} to {}",
                                 Grouped(picture.map.firstFrame), Grouped(picture.map.endFrame - 1),
                                 Grouped(picture.map.start), Grouped(picture.map.end - 1)),
                          "strong");
        y += kLineHeight;
    }
    y = DrawDamageLines(picture, y + 2);
    picture.svg.CloseGroup();
    return y;
}

std::string StreamText(EKrStreamKind kind, uint32_t stream)
{
    return Format("{}{}", kind == EKrStreamKind::Video ? "video " : "audio ", stream);
}

std::string RegionText(const SKrFileMap& map, EKrRegionKind kind)
{
    const SKrRegions& regions = map.regions.Of(kind);
    const std::string places = BytesText(static_cast<double>(regions.bytes)) +
                               (regions.count > 1 ? " at " + Counted(regions.count, "place") : std::string());
    switch (kind)
    {
    case EKrRegionKind::Unaccounted:
        return "in no chunk: " + places;
    case EKrRegionKind::CutChunk:
        return Format("truncated chunk: {} present", places);
    case EKrRegionKind::OutsideMovi:
        return "outside 'movi': " + places;
    case EKrRegionKind::NotIndexed:
        break;
    }
    return map.noIndex ? "no index for this data" : "not in the index: " + places;
}
} // namespace KrTool
