// Parses built files in memory and exposes the parse results in the reader.
#ifndef KR_TESTS_READER_HEADERPARSEINNERSUPPORT_H
#define KR_TESTS_READER_HEADERPARSEINNERSUPPORT_H

#include "reader/KrRiffReader.h"
#include "tests/support/KrMemoryFileSystem.h"
#include "tests/support/KrSimpleAvi.h"

namespace KrTest
{
// A reader after an Open of a file in memory.
class CKrParsedInMemory
{
public:
    explicit CKrParsedInMemory(const CKrFileContent& content) : m_reader(m_files)
    {
        m_files.Set(L"parsed.avi", content);
        m_status = m_reader.Open(L"parsed.avi");
    }
    explicit CKrParsedInMemory(const SKrSimpleAvi& avi) : CKrParsedInMemory(BuildSimpleAvi(avi).content) {}

    [[nodiscard]] int Status() const { return m_status; }
    [[nodiscard]] CKrRiffReader& Reader() { return m_reader; }
    [[nodiscard]] const SKrStreamState& State() const { return m_reader.StreamState(); }

private:
    CKrMemoryFileSystem m_files;
    CKrRiffReader m_reader;
    int m_status = -1;
};
} // namespace KrTest

#endif
