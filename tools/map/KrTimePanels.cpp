// The panels over time: data rates, and the distance of sound and frames in time and in bytes.
#include "tools/command/KrFormat.h"
#include "tools/map/KrMapPanels.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr double kRateHeight = 140;
constexpr double kDistanceHeight = 110;
constexpr double kLeastBar = 2;    // pixels
constexpr double kAxisHeight = 20; // of labels
constexpr double kHeadroom = 1.08; // above the highest value

SKrPlot TimePlot(const SKrPicture& picture, double y, double height)
{
    return {.left = kLeftMargin,
            .top = y,
            .width = PlotWidth(picture.width),
            .height = height,
            .fromX = picture.map.startSeconds,
            .toX = picture.map.endSeconds};
}

double HighestRate(const SKrFileMap& map, const SKrRateSeries& series)
{
    double highest = 0;
    for (size_t bin = 0; bin < series.bins.size(); ++bin)
        highest = std::max(highest, BitsPerSecond(map, series, bin));
    return highest;
}

std::vector<std::string> RateNumbers(const SKrFileMap& map)
{
    std::vector<std::string> pieces;
    for (const SKrRateSeries& series : map.rates)
    {
        const double average = 8 * static_cast<double>(SeriesBytes(series)) / map.Seconds();
        pieces.push_back(Format("{}: {} on average, at most {}", StreamText(series.kind, series.stream),
                                RateText(average), RateText(HighestRate(map, series))));
    }
    pieces.push_back(Format("in stretches of {} s", Trimmed(map.rateBinSeconds, 4)));
    return pieces;
}

// A curve of steps, since a rate holds for a stretch.
void DrawSeries(const SKrPicture& picture, const SKrPlot& plot, const SKrRateSeries& series)
{
    const SKrFileMap& map = picture.map;
    const bool isVideo = series.kind == EKrStreamKind::Video;
    CKrSvgPath line;
    for (size_t bin = 0; bin < series.bins.size(); ++bin)
    {
        const double start = map.startSeconds + static_cast<double>(bin) * map.rateBinSeconds;
        const double y = plot.Y(BitsPerSecond(map, series, bin));
        if (bin == 0)
            line.MoveTo(plot.X(start), y);
        else
            line.VerticalTo(y);
        line.HorizontalTo(plot.X(start + RateBinSeconds(map, bin)));
    }
    picture.svg.OpenGroup(isVideo ? "rate-video" : "rate-audio");
    if (isVideo)
    {
        CKrSvgPath area = line;
        area.VerticalTo(plot.Bottom());
        area.HorizontalTo(plot.left);
        area.Close();
        picture.svg.Path(area.Commands(), "video-area");
    }
    picture.svg.Path(line.Commands(), isVideo ? "video-line" : "audio-line");
    picture.svg.CloseGroup();
}

// Samples of both curves, at the right above the plot.
void DrawRateLegend(const SKrPicture& picture, double y)
{
    double right = picture.width - kRightMargin;
    for (auto series = picture.map.rates.rbegin(); series != picture.map.rates.rend(); ++series)
    {
        const std::string text = StreamText(series->kind, series->stream);
        const bool isVideo = series->kind == EKrStreamKind::Video;
        picture.svg.Label(right, y, text, "small", EKrAnchor::End);
        right -= TextWidth(text, 11) + 8;
        picture.svg.Line(right - 24, y - 4, right, y - 4, isVideo ? "video-line" : "audio-line");
        right -= 24 + 16;
    }
}

// With the zero line, some room at the sides, and no more precision than distances have.
SKrExtent Widened(SKrExtent extent, double least)
{
    extent.low = std::min(extent.low, 0.0);
    extent.high = std::max(extent.high, 0.0);
    if (extent.high - extent.low < least)
        return {-least, least};
    const double margin = (extent.high - extent.low) * (kHeadroom - 1);
    return {extent.low - (extent.low < 0 ? margin : 0), extent.high + (extent.high > 0 ? margin : 0)};
}

struct SKrDistanceView
{
    const char* id;
    const char* heading;
    const char* meaning;
    EKrAxisUnit unit;
    SKrExtent SKrDistanceBin::*extent;
    std::string (*text)(double);
    double least; // range of the scale
};

double DrawDistances(const SKrPicture& picture, double y, const SKrDistanceView& view)
{
    const SKrFileMap& map = picture.map;
    const SKrExtent& all = map.allDistances.*view.extent;
    const std::string numbers = Format("from {} to {}", view.text(all.low), view.text(all.high));
    y = DrawHeading(picture, y, view.heading, {view.meaning, numbers});
    SKrPlot plot = TimePlot(picture, y, kDistanceHeight);
    const SKrExtent extent = Widened(all, view.least);
    plot.fromY = extent.low;
    plot.toY = extent.high;
    picture.svg.OpenGroup(view.id, plot.Attributes());
    DrawYAxis(picture.svg, plot, view.unit);
    CKrSvgPath bars;
    const double width = plot.width / static_cast<double>(map.distances.size());
    for (size_t bin = 0; bin < map.distances.size(); ++bin)
    {
        if (map.distances[bin].frames == 0)
            continue;
        const SKrExtent& range = map.distances[bin].*view.extent;
        const double top = plot.Y(range.high);
        const double height = std::max(kLeastBar, plot.Y(range.low) - top);
        bars.AddRect(plot.left + static_cast<double>(bin) * width, top - kLeastBar / 2, width, height);
    }
    picture.svg.Path(bars.Commands(), "audio");
    DrawXAxis(picture.svg, plot, EKrAxisUnit::Time);
    picture.svg.CloseGroup();
    return plot.Bottom() + kAxisHeight;
}
} // namespace

double DrawRatePanel(const SKrPicture& picture, double y)
{
    const SKrFileMap& map = picture.map;
    if (map.rates.empty())
        return DrawHeading(picture, y, "Data rate", {"no chunks with a known time"});
    DrawRateLegend(picture, y);
    y = DrawHeading(picture, y, "Data rate", RateNumbers(map));
    SKrPlot plot = TimePlot(picture, y, kRateHeight);
    plot.toY = 0;
    for (const SKrRateSeries& series : map.rates)
        plot.toY = std::max(plot.toY, HighestRate(map, series) * kHeadroom);
    plot.toY = std::max(plot.toY, 1.0);
    picture.svg.OpenGroup("rate", plot.Attributes());
    DrawYAxis(picture.svg, plot, EKrAxisUnit::BitsPerSecond);
    for (const SKrRateSeries& series : map.rates)
        DrawSeries(picture, plot, series);
    DrawXAxis(picture.svg, plot, EKrAxisUnit::Time);
    picture.svg.CloseGroup();
    return plot.Bottom() + kAxisHeight;
}

double DrawDistancePanels(const SKrPicture& picture, double y)
{
    if (picture.map.distances.empty())
        return DrawHeading(picture, y, "Interleave", {"no frames with audio of the same time"});
    static const SKrDistanceView kInTime = {
        .id = "interleave-time",
        .heading = "Interleave in time",
        .meaning = "audio before a frame: ahead of its time (+) or late (\u2212)",
        .unit = EKrAxisUnit::Seconds,
        .extent = &SKrDistanceBin::seconds,
        .text = SignedSecondsText,
        .least = 0.01};
    static const SKrDistanceView kInBytes = {
        .id = "interleave-bytes",
        .heading = "Interleave in bytes",
        .meaning = "audio of a frame's time: before the frame (+) or after it (\u2212)",
        .unit = EKrAxisUnit::Bytes,
        .extent = &SKrDistanceBin::bytes,
        .text = SignedBytesText,
        .least = 1000};
    y = DrawDistances(picture, y, kInTime);
    return DrawDistances(picture, y + kPanelGap, kInBytes);
}
} // namespace KrTool
