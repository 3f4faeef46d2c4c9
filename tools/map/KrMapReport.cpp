#include "tools/map/KrMapReport.h"

#include "tools/command/KrReport.h"
#include "tools/command/KrText.h"
#include "tools/map/KrFileMap.h"
#include "tools/map/KrMapStyle.h"
#include "tools/map/KrMapText.h"

#include <nlohmann/json.hpp>

namespace KrTool
{
namespace
{
Json ListsJson(const std::vector<SKrMapList>& lists)
{
    Json rows = Json::array();
    for (const SKrMapList& list : lists)
        rows.push_back({{"type", FourCcText(list.type)},
                        {"position", list.start},
                        {"end", list.end},
                        {"claimedEnd", list.completed ? Json(list.claimedEnd) : Json()}});
    return rows;
}

Json LanesJson(const SKrFileMap& map, bool withBins)
{
    Json rows = Json::array();
    for (const SKrLane& lane : map.lanes)
    {
        Json row = {{"kind", StyleOf(lane.kind)},
                    {"stream", lane.stream ? Json(*lane.stream) : Json()},
                    {"chunks", lane.stream ? Json(lane.chunks) : Json()},
                    {"bytes", lane.bytes}};
        if (withBins)
            row["bins"] = lane.bins;
        rows.push_back(std::move(row));
    }
    return rows;
}

Json RatesJson(const SKrFileMap& map, bool withBins)
{
    Json rows = Json::array();
    for (const SKrRateSeries& series : map.rates)
    {
        const uint64_t bytes = SeriesBytes(series);
        Json row = {{"kind", KindName(series.kind)},
                    {"stream", series.stream},
                    {"bytes", bytes},
                    {"averageBitsPerSecond", Millionths(8 * static_cast<double>(bytes) / map.Seconds())}};
        if (withBins)
        {
            row["bins"] = series.bins;
            row["bitsPerSecond"] = Json::array();
            for (size_t bin = 0; bin < series.bins.size(); ++bin)
                row["bitsPerSecond"].push_back(Millionths(BitsPerSecond(map, series, bin)));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

Json ExtentJson(const SKrExtent& extent)
{
    return {extent.low, extent.high};
}

Json DistanceJson(const SKrDistanceBin& distance)
{
    return {{"frames", distance.frames},
            {"seconds", ExtentJson(distance.seconds)},
            {"bytes", ExtentJson(distance.bytes)}};
}

// Adds the numbers of a sound stream to other members.
Json InterleaveJson(Json members, const SKrInterleave& interleave, bool withBins)
{
    members.update(DistanceJson(interleave.all));
    if (withBins)
    {
        members["bins"] = Json::array();
        for (const SKrDistanceBin& bin : interleave.bins)
            members["bins"].push_back(bin.frames != 0 ? DistanceJson(bin) : Json());
    }
    return members;
}

Json InterleavesJson(const SKrFileMap& map, bool withBins)
{
    Json rows = Json::array();
    for (const SKrInterleave& interleave : map.interleaves)
        rows.push_back(InterleaveJson({{"stream", interleave.stream}, {"isFar", map.IsFar(interleave.all)}},
                                      interleave, withBins));
    return rows;
}

Json KeyFramesJson(const SKrFileMap& map, bool withBins)
{
    Json rows = Json::array();
    for (const SKrKeyFrames& frames : map.keyFrames)
    {
        Json row = {{"stream", frames.stream}, {"frames", frames.frames}, {"keyFrames", frames.keys}};
        if (withBins)
            row["bins"] = frames.bins;
        rows.push_back(std::move(row));
    }
    return rows;
}

Json LargestJson(const SKrFileMap& map)
{
    Json rows = Json::array();
    for (const SKrLargeChunk& chunk : map.largest)
        rows.push_back({{"kind", KindName(chunk.kind)},
                        {"stream", chunk.stream},
                        {"number", chunk.number},
                        {"seconds", chunk.seconds ? Json(Millionths(*chunk.seconds)) : Json()},
                        {"position", chunk.position},
                        {"size", chunk.size}});
    return rows;
}

Json RegionsJson(const SKrFileMap& map)
{
    static constexpr const char* kNames[] = {"inNoChunk", "cutChunk", "outsideMovi", "notIndexed"};
    Json all = Json::object();
    for (size_t kind = 0; kind < kRegionKinds; ++kind)
    {
        const SKrRegions& regions = map.regions[kind];
        Json entry = {{"places", regions.count}, {"bytes", regions.bytes}};
        entry["regions"] = Json::array();
        for (const SKrRegion& region : regions.kept)
            entry["regions"].push_back({{"position", region.start}, {"end", region.end}});
        all[kNames[kind]] = entry;
    }
    return all;
}
} // namespace

void ReportMap(const SKrFileMap& map, CKrReport& report)
{
    const bool full = report.AsJson();
    report.Fact("length", map.length);
    report.Fact("shown", {{"position", map.start},
                          {"end", map.end},
                          {"firstFrame", map.firstFrame},
                          {"endFrame", map.endFrame},
                          {"startSeconds", Millionths(map.startSeconds)},
                          {"endSeconds", Millionths(map.endSeconds)}});
    if (full)
        report.Fact("facts", map.facts);
    report.Fact("segments", ListsJson(map.segments));
    report.Fact("lists", ListsJson(map.lists));
    report.Fact("lanes", LanesJson(map, full));
    report.Fact("rateBinSeconds", Millionths(map.rateBinSeconds));
    report.Fact("rates", RatesJson(map, full));
    const bool hasSound = !map.interleaves.empty();
    report.Fact("interleave",
                hasSound ? InterleaveJson(Json::object(), map.interleaves.front(), full) : Json());
    report.Fact("interleaveLimit", Millionths(map.interleaveLimit));
    if (full || map.interleaves.size() > 1)
        report.Fact("interleaves", InterleavesJson(map, full));
    report.Fact("keyFrames", KeyFramesJson(map, full));
    report.Fact("largest", LargestJson(map));
    report.Fact("missingBytes", map.MissingBytes());
    if (full)
        report.Fact("damage", RegionsJson(map));
}
} // namespace KrTool
