// Texts about the file: title, date, software, time code and the like.
#ifndef KR_TOOLS_INFO_KRINFOTAGS_H
#define KR_TOOLS_INFO_KRINFOTAGS_H

#include <cstdint>
#include <string>
#include <vector>

namespace KrTool
{
struct SKrCarriedHeader;

struct SKrInfoTag
{
    uint32_t id = 0;
    std::string name; // "title"; empty where it has none
    std::string text; // any bytes
};

// Those of the 'INFO' lists, and 'IDIT' and 'ISMP' wherever they are, in the order of the file.
std::vector<SKrInfoTag> ReadInfoTags(const SKrCarriedHeader& header);
} // namespace KrTool

#endif
