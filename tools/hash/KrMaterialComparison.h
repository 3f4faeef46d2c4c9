// Where the material of two files differs first, stream by stream.
#ifndef KR_TOOLS_HASH_KRMATERIALCOMPARISON_H
#define KR_TOOLS_HASH_KRMATERIALCOMPARISON_H

#include "tools/command/KrReport.h"
#include "tools/hash/KrHashedFile.h"

#include <nlohmann/json.hpp>

#include <string>
#include <vector>

namespace KrTool
{
// Audio streams are compared as one run of bytes each, others frame by frame or chunk by chunk, in the order
// of their numbers. One object for each stream that differs; `text` is the same as a message. Both files must
// be hashed.
struct SKrDifference
{
    Json facts;
    std::string text;
};
std::vector<SKrDifference> Differences(const CKrHashedFile& file, const CKrHashedFile& other,
                                       const CKrProgress& progress);
} // namespace KrTool

#endif
