// How the reader describes a video stream from its headers.
#ifndef KR_READER_KRVIDEOFORMAT_H
#define KR_READER_KRVIDEOFORMAT_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "format/KrAviHeaders.h"

SKrAviVideoParams DescribeVideo(const SKrBitmapHeader& bitmap, const SKrStreamHeader& stream);

// The scan mode that a frame-rate code and a stored size suggest.
EKrScanMode GuessScanMode(uint32_t frameRate, int32_t width, int32_t height);

// Applies a pixel aspect ratio to the display width, and to the aspect mode of frames for which the tables
// have that ratio.
void ApplyPixelAspect(SKrAviVideoParams& format, int horizontal, int vertical);

#endif
