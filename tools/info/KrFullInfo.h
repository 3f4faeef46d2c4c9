// All facts of a file that kravi info knows, beside the summary: the reader's answers to hosts, and the
// headers.
#ifndef KR_TOOLS_INFO_KRFULLINFO_H
#define KR_TOOLS_INFO_KRFULLINFO_H

#include "tools/command/KrReport.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace KrTool
{
class CKrAviFile;
struct SKrAviFacts;

struct SKrInfoFact
{
    std::string key;
    Json value;
    Json shown; // as the text report has it
};

struct SKrFullInfo
{
    std::vector<SKrInfoFact> facts;
    std::vector<std::string> hostNotes; // what hosts of the library do not see of the file
};

// Reports the defects of the indexes.
SKrFullInfo ReadFullInfo(const CKrAviFile& file, const SKrAviFacts& facts, CKrReport& report);
} // namespace KrTool

#endif
