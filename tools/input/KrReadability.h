// Why a file cannot be read, in words.
#ifndef KR_TOOLS_INPUT_KRREADABILITY_H
#define KR_TOOLS_INPUT_KRREADABILITY_H

#include "platform/KrFileProbe.h"

#include <string>

namespace KrTool
{
// For a file that the system does not let anybody read now; general words for one that it does.
std::string WhyNotReadable(const SKrFileProbe& probe);
} // namespace KrTool

#endif
