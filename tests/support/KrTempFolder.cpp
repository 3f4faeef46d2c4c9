#include "tests/support/KrTempFolder.h"

#include "tests/support/KrOsTestFiles.h"

#include <algorithm>
#include <stdexcept>

namespace KrTest
{
namespace
{
void Require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(what);
}
} // namespace

CKrTempFolder::CKrTempFolder() : m_path(Os::NewTemporaryPath())
{
    Require(Os::MakeFolder(m_path), "cannot make a temporary folder");
}

CKrTempFolder::~CKrTempFolder()
{
    static_cast<void>(Os::RemoveTree(m_path));
}

std::wstring CKrTempFolder::PathOf(const std::wstring& name) const
{
    std::wstring path = m_path + Os::kSeparator + name;
    std::replace(path.begin(), path.end(), L'/', Os::kSeparator);
    return path;
}

std::wstring CKrTempFolder::Write(const std::wstring& name, const CKrFileContent& content) const
{
    const std::wstring path = PathOf(name);
    Require(Os::WriteSparseFile(path, content), "cannot write a temporary file");
    return path;
}

std::wstring CKrTempFolder::WriteSparse(const std::wstring& name, uint64_t size,
                                        const std::map<uint64_t, KrBytes>& extents) const
{
    CKrFileContent content;
    content.Resize(size);
    for (const auto& [position, bytes] : extents)
        content.Put(position, bytes);
    Require(content.Size() == size, "bytes beyond the size of a temporary file");
    return Write(name, content);
}

std::wstring CKrTempFolder::MakeFolder(const std::wstring& name) const
{
    const std::wstring path = PathOf(name);
    Require(Os::MakeFolder(path), "cannot make a folder in the temporary folder");
    return path;
}

void CKrTempFolder::Remove(const std::wstring& name) const
{
    Require(Os::RemoveFile(PathOf(name)), "cannot remove a temporary file");
}
} // namespace KrTest
