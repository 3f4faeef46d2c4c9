// The panels over time: data rates, and the distance of sound and frames in time and in bytes.
#include "tools/command/KrFormat.h"
#include "tools/command/KrText.h"
#include "tools/map/KrMapPanels.h"

#include <algorithm>

namespace KrTool
{
namespace
{
constexpr double kRateHeight = 140;
constexpr double kDistanceHeight = 110;
constexpr double kSmallDistanceHeight = 64; // of each of several sound streams
constexpr double kLeastBar = 2;             // pixels
constexpr double kAxisHeight = 20;          // of labels
constexpr double kHeadroom = 1.08;          // above the highest value

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

constexpr size_t kMostSeries = 8; // drawn; the report has all
constexpr size_t kMostSounds = 4;
constexpr double kTextHeight = 17;

// Streams after the first of their kind have colours of their own.
std::string LineStyle(const SKrFileMap& map, size_t series)
{
    const EKrStreamKind kind = map.rates[series].kind;
    const auto first = std::ranges::find(map.rates, kind, &SKrRateSeries::kind);
    if (&*first == &map.rates[series])
        return kind == EKrStreamKind::Video ? "video-line" : "audio-line";
    size_t extra = 0;
    for (size_t before = 0; before <= series; ++before)
    {
        const EKrStreamKind other = map.rates[before].kind;
        extra += &*std::ranges::find(map.rates, other, &SKrRateSeries::kind) != &map.rates[before] ? 1 : 0;
    }
    return Format("extra{}-line", extra);
}

// A line for each stream: a sample of its curve, and its numbers.
double DrawRateNumbers(const SKrPicture& picture, double y)
{
    const SKrFileMap& map = picture.map;
    for (size_t series = 0; series < std::min(map.rates.size(), kMostSeries); ++series)
    {
        const SKrRateSeries& rates = map.rates[series];
        const double average = 8 * static_cast<double>(SeriesBytes(rates)) / map.Seconds();
        y += kTextHeight;
        picture.svg.Line(kSideMargin, y - 4, kSideMargin + 24, y - 4, LineStyle(map, series));
        picture.svg.Label(kSideMargin + 32, y,
                          Format("{}: {} on average, at most {}", StreamText(rates.kind, rates.stream),
                                 RateText(average), RateText(HighestRate(map, rates))),
                          "soft");
    }
    std::string text = Format("in stretches of {} s", Trimmed(map.rateBinSeconds, 4));
    if (map.rates.size() > kMostSeries)
        text += Format("; {} more are not drawn", Counted(map.rates.size() - kMostSeries, "stream"));
    picture.svg.Label(kSideMargin, y + kTextHeight, text, "soft");
    return y + kTextHeight + 16;
}

// A curve of steps, since a rate holds for a stretch.
void DrawSeries(const SKrPicture& picture, const SKrPlot& plot, size_t number)
{
    const SKrFileMap& map = picture.map;
    const SKrRateSeries& series = map.rates[number];
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
    const std::string style = LineStyle(map, number);
    const bool isFirst = style == "video-line" || style == "audio-line";
    std::string id = isVideo ? "rate-video" : "rate-audio";
    picture.svg.OpenGroup(isFirst ? id : id + '-' + std::to_string(series.stream));
    if (style == "video-line")
    {
        CKrSvgPath area = line;
        area.VerticalTo(plot.Bottom());
        area.HorizontalTo(plot.left);
        area.Close();
        picture.svg.Path(area.Commands(), "video-area");
    }
    picture.svg.Path(line.Commands(), style);
    picture.svg.CloseGroup();
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

// Bars of the stretches that are beyond the limit, or of the others.
std::string DistanceBars(const SKrFileMap& map, const SKrInterleave& interleave, const SKrDistanceView& view,
                         const SKrPlot& plot, bool isFar)
{
    CKrSvgPath bars;
    const double width = plot.width / static_cast<double>(interleave.bins.size());
    for (size_t bin = 0; bin < interleave.bins.size(); ++bin)
    {
        const SKrDistanceBin& distance = interleave.bins[bin];
        if (distance.frames == 0 || map.IsFar(distance) != isFar)
            continue;
        const SKrExtent& range = distance.*view.extent;
        const double top = plot.Y(range.high);
        const double height = std::max(kLeastBar, plot.Y(range.low) - top);
        bars.AddRect(plot.left + static_cast<double>(bin) * width, top - kLeastBar / 2, width, height);
    }
    return bars.Commands();
}

double DrawSound(const SKrPicture& picture, double y, const SKrDistanceView& view,
                 const SKrInterleave& interleave)
{
    const SKrFileMap& map = picture.map;
    const bool isFirst = &interleave == &map.interleaves.front();
    const bool isAlone = map.interleaves.size() == 1;
    SKrPlot plot = TimePlot(picture, y, isAlone ? kDistanceHeight : kSmallDistanceHeight);
    const SKrExtent extent = Widened(interleave.all.*view.extent, view.least);
    plot.fromY = extent.low;
    plot.toY = extent.high;
    const std::string id = isFirst ? view.id : Format("{}-{}", view.id, interleave.stream);
    picture.svg.OpenGroup(id, plot.Attributes());
    if (!isAlone)
        picture.svg.Label(kSideMargin, y + 11, StreamText(EKrStreamKind::Audio, interleave.stream), "strong");
    DrawYAxis(picture.svg, plot, view.unit);
    for (const bool isFar : {false, true})
    {
        if (const std::string bars = DistanceBars(map, interleave, view, plot, isFar); !bars.empty())
            picture.svg.Path(bars, isFar ? "damage" : "audio");
    }
    if (view.unit == EKrAxisUnit::Seconds)
    {
        for (const double limit : {-map.interleaveLimit, map.interleaveLimit})
        {
            if (limit > plot.fromY && limit < plot.toY)
                picture.svg.Line(plot.left, plot.Y(limit), plot.Right(), plot.Y(limit), "limit");
        }
    }
    DrawXAxis(picture.svg, plot, EKrAxisUnit::Time);
    picture.svg.CloseGroup();
    return plot.Bottom() + kAxisHeight;
}

double DrawDistances(const SKrPicture& picture, double y, const SKrDistanceView& view)
{
    const SKrFileMap& map = picture.map;
    std::vector<std::string> texts = {view.meaning};
    const size_t count = std::min(map.interleaves.size(), kMostSounds);
    bool isFar = false;
    for (size_t sound = 0; sound < count; ++sound)
    {
        const SKrExtent& all = map.interleaves[sound].all.*view.extent;
        const std::string name = map.interleaves.size() == 1
                                     ? std::string()
                                     : StreamText(EKrStreamKind::Audio, map.interleaves[sound].stream) + ' ';
        texts.push_back(Format("{}from {} to {}", name, view.text(all.low), view.text(all.high)));
        isFar = isFar || map.IsFar(map.interleaves[sound].all);
    }
    if (count < map.interleaves.size())
        texts.push_back(Format("{} more are not drawn", Counted(map.interleaves.size() - count, "stream")));
    y = DrawHeading(picture, y, view.heading, texts);
    if (isFar)
    {
        picture.svg.Rect(kSideMargin, y - 4, 11, 11, "damage");
        picture.svg.Label(kSideMargin + 18, y + 5,
                          Format("more than {} s from the picture", Trimmed(map.interleaveLimit, 3)),
                          "warning");
        y += kTextHeight;
    }
    for (size_t sound = 0; sound < count; ++sound)
        y = DrawSound(picture, y + (sound == 0 ? 0 : 8), view, map.interleaves[sound]);
    return y;
}
} // namespace

double DrawRatePanel(const SKrPicture& picture, double y)
{
    const SKrFileMap& map = picture.map;
    if (map.rates.empty())
        return DrawHeading(picture, y, "Data rate", {"no chunks with a known time"});
    y = DrawRateNumbers(picture, DrawHeading(picture, y, "Data rate") - 16);
    SKrPlot plot = TimePlot(picture, y, kRateHeight);
    plot.toY = 0;
    for (const SKrRateSeries& series : map.rates)
        plot.toY = std::max(plot.toY, HighestRate(map, series) * kHeadroom);
    plot.toY = std::max(plot.toY, 1.0);
    picture.svg.OpenGroup("rate", plot.Attributes());
    DrawYAxis(picture.svg, plot, EKrAxisUnit::BitsPerSecond);
    for (size_t series = 0; series < std::min(map.rates.size(), kMostSeries); ++series)
        DrawSeries(picture, plot, series);
    DrawXAxis(picture.svg, plot, EKrAxisUnit::Time);
    picture.svg.CloseGroup();
    return plot.Bottom() + kAxisHeight;
}

double DrawDistancePanels(const SKrPicture& picture, double y)
{
    if (picture.map.interleaves.empty())
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
