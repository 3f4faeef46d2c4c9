// An open file behind the library's reader, held for as long as a verb needs it.
#ifndef KR_TOOLS_INPUT_KRAVIFILE_H
#define KR_TOOLS_INPUT_KRAVIFILE_H

#include "KrRiffUtils/KrRiffUtils.h"
#include "base/KrRef.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace KrTool
{
// Ends the cause when the reader takes a file for none of its own.
constexpr char kVerifyStep[] = ", and kravi verify tells what is wrong with it";

class CKrAviFile
{
public:
    // Opens the file, or throws CKrToolError with the reason as far as it can be known.
    explicit CKrAviFile(const std::string& path);

    IKrRiffReader& Reader() const { return *m_reader; }
    const std::string& Path() const { return m_path; }
    uint64_t Length() const { return m_length; }

    // Reads what the file holds of a range: fewer bytes than asked for at its end.
    size_t ReadAt(uint64_t position, void* buffer, size_t count) const;

private:
    std::string m_path;
    CKrRef<IKrRiffReader> m_reader;
    uint64_t m_length = 0;
};
} // namespace KrTool

#endif
