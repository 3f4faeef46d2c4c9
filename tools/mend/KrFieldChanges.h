// Header fields with new values: what kravi set is asked for, and what it changes.
#ifndef KR_TOOLS_MEND_KRFIELDCHANGES_H
#define KR_TOOLS_MEND_KRFIELDCHANGES_H

#include "KrRiffUtils/KrRiffTypes.h"
#include "tools/mend/KrBytePatches.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace KrTool
{
// Empty texts leave a field as it is.
struct SKrFieldValues
{
    std::optional<uint64_t> stream; // of rate, FourCCs and start; the first video stream if not given
    std::string rate;
    std::string codec;
    std::string handler;
    std::string aspect;
    std::optional<EKrScanMode> scan;
    std::string start;
    std::vector<std::pair<uint32_t, std::string>> texts; // by their ids in an 'INFO' list
};

struct SKrFieldChange
{
    std::string field;
    std::optional<uint64_t> stream;
    uint64_t offset = 0; // in the file
    std::string before;  // empty: it was not there
    std::string after;
};

struct SKrFieldPlan
{
    CKrBytePatches patches;
    std::vector<SKrFieldChange> changes; // also to the value that a field has already
    std::vector<std::string> notes;
};
} // namespace KrTool

#endif
