// A file that appears under its name only when it is complete.
#ifndef KR_TOOLS_OUTPUT_KROUTPUTFILE_H
#define KR_TOOLS_OUTPUT_KROUTPUTFILE_H

#include "platform/KrNewFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrTool
{
// The name that stands for the standard output, where a verb can write from start to end.
bool IsStandardOutput(const std::string& name);

// Throws CKrToolError when `target` may not be written: it exists and `replace` is not set, it is not a
// regular file, or it is the input file `source`; and for the standard output.
void CheckTarget(const std::string& target, bool replace, const std::string& source);

// The same for what is written from start to end, which the standard output takes too.
void CheckStreamTarget(const std::string& target, bool replace, const std::string& source);

// An unused name in the target's folder.
std::string FreeTemporaryName(const std::string& target);

// The system's reason why no file of so many bytes can be written beside the target, from a trial file; empty
// when there is none.
std::string WhyNotWritable(const std::string& target, uint64_t bytes);

// Written under a temporary name in the target's folder. Without Commit the destructor removes it. The
// standard output is written at once, and has no positions to go to.
class CKrOutputFile
{
public:
    CKrOutputFile(std::string target, bool replace);
    ~CKrOutputFile();
    CKrOutputFile(const CKrOutputFile&) = delete;
    CKrOutputFile& operator=(const CKrOutputFile&) = delete;

    void Write(const void* data, size_t size);
    void SeekTo(uint64_t position);

    // As CKrNewFile does; an error shows at the next Write.
    [[nodiscard]] uint64_t CopyFrom(const CKrRangeSource& source, uint64_t position, uint64_t count)
    {
        return m_file.CopyFrom(source, position, count);
    }

    void Commit();

private:
    void Check(const SKrOsResult& result) const;

    const std::string m_target;
    const bool m_replace;
    const bool m_isStandard = false;
    std::string m_temporary; // empty when there is none
    CKrNewFile m_file;
};
} // namespace KrTool

#endif
