// The measurements that a map is made of, each from the spans and tracks of one file.
#ifndef KR_TOOLS_MAP_KRMAPMEASURES_H
#define KR_TOOLS_MAP_KRMAPMEASURES_H

#include "tools/map/KrFileMap.h"
#include "tools/map/KrMapTrack.h"

namespace KrTool
{
class CKrAviFile;
class CKrProgress;
class CKrReport;
struct SKrAviFacts;

// Measures the file. What is wrong with it goes to the report as well. Throws CKrToolError when the frames
// that were asked for are not there.
SKrFileMap MeasureFile(const CKrAviFile& file, const SKrAviFacts& facts, const SKrMapRequest& request,
                       CKrReport& report, CKrProgress& progress);

// Fills the lanes with the bytes of the range.
void MeasureLanes(const SKrFileSpans& file, uint64_t bins, SKrFileMap& map);

void MeasureLargest(const std::vector<CKrMapTrack>& tracks, SKrFileMap& map);

// Chooses the length of the stretches and fills one series. All series share the stretches.
void ChooseRateBins(const CKrMapTrack* video, SKrFileMap& map);
void MeasureRate(const CKrMapTrack& track, SKrFileMap& map);

void MeasureDistances(const CKrMapTrack& video, const CKrMapTrack& audio, uint64_t bins, SKrFileMap& map);

// Puts the facts and the damage into words.
void DescribeFile(const SKrAviFacts& facts, const SKrFileSpans& file, const CKrMapTrack* video,
                  SKrFileMap& map);
void DescribeDamage(const SKrAviFacts& facts, const SKrFileSpans& file, const CKrMapTrack* video,
                    SKrFileMap& map, CKrReport& report);
} // namespace KrTool

#endif
