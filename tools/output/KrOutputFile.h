// A file that appears under its name only when it is complete.
#ifndef KR_TOOLS_OUTPUT_KROUTPUTFILE_H
#define KR_TOOLS_OUTPUT_KROUTPUTFILE_H

#include "platform/KrNewFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrTool
{
// Throws CKrToolError when `target` may not be written: it exists and `replace` is not set, it is no
// regular file, or it is the file `source` that is being read.
void CheckTarget(const std::string& target, bool replace, const std::string& source);

// A name in the target's folder that nothing has now.
std::string FreeTemporaryName(const std::string& target);

// The system's reason why the target's folder takes no file now, found by writing one that goes again; empty
// when it takes it.
std::string WhyNotWritable(const std::string& target);

// Written under a temporary name in the target's folder. Without Commit the destructor removes it.
class CKrOutputFile
{
public:
    CKrOutputFile(std::string target, bool replace);
    ~CKrOutputFile();
    CKrOutputFile(const CKrOutputFile&) = delete;
    CKrOutputFile& operator=(const CKrOutputFile&) = delete;

    void Write(const void* data, size_t size);
    void SeekTo(uint64_t position);
    void Commit();

private:
    void Check(const SKrOsResult& result) const;

    const std::string m_target;
    const bool m_replace;
    std::string m_temporary; // empty when there is none
    CKrNewFile m_file;
};
} // namespace KrTool

#endif
