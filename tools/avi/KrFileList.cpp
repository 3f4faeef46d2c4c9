#include "tools/avi/KrFileList.h"

#include "platform/KrFileProbe.h"
#include "tools/command/KrProgress.h"
#include "tools/command/KrReport.h"
#include "tools/command/KrToolError.h"
#include "tools/command/KrVerbOptions.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace KrTool
{
namespace
{
bool IsAviName(const std::string& name)
{
    constexpr std::string_view kEnding = ".avi";
    const auto isSame = [](char left, char right)
    {
        return std::tolower(static_cast<unsigned char>(left)) == right;
    };
    return name.size() > kEnding.size() &&
           std::equal(kEnding.begin(), kEnding.end(), name.end() - kEnding.size(),
                      [&](char wanted, char there) { return isSame(there, wanted); });
}

// The file or folder has no report.
void FailName(const std::string& name, const std::string& cause, CKrReport& report)
{
    report.BeginFile(name);
    report.FailFile(name, cause);
}

// In the order of the names, files of a folder before those below it. Links to folders may lead in circles
// and are not followed. What cannot be listed is reported; false then.
bool AddFolder(const std::string& folder, const CKrProgress& progress, CKrReport& report,
               std::vector<std::string>& files)
{
    progress.StopIfAsked();
    std::vector<SKrFolderEntry> entries;
    if (const std::string error = ListFolder(folder, entries); !error.empty())
    {
        FailName(folder, "it cannot be listed: " + error, report);
        return false;
    }
    std::ranges::sort(entries, {}, &SKrFolderEntry::name);
    const std::string path = folder.ends_with('/') || FolderOf(folder) == folder ? folder : folder + '/';
    for (const SKrFolderEntry& entry : entries)
    {
        if (!entry.isFolder && IsAviName(entry.name))
            files.push_back(path + entry.name);
    }
    bool areListed = true;
    for (const SKrFolderEntry& entry : entries)
    {
        if (entry.isFolder && !IsSymbolicLink(path + entry.name))
            areListed = AddFolder(path + entry.name, progress, report, files) && areListed;
    }
    return areListed;
}

// Reports the folders that have nothing in them.
std::vector<std::string> FilesIn(const std::vector<std::string>& names, const CKrProgress& progress,
                                 CKrReport& report)
{
    std::vector<std::string> files;
    for (const std::string& name : names)
    {
        if (TargetAt(name) != EKrTarget::Folder)
        {
            files.push_back(name);
            continue;
        }
        const size_t before = files.size();
        if (AddFolder(name, progress, report, files) && files.size() == before)
            FailName(name, "no file in this folder has a name that ends with .avi", report);
    }
    return files;
}
} // namespace

void AddFileList(CKrVerbOptions& verb, SKrFileList& files, bool isRequired)
{
    verb.AddArguments("FILE", files.names, "AVI files, or folders with files whose names end with .avi",
                      isRequired);
    verb.AddSwitch("--brief", files.isBrief, "One line for each file");
}

bool IsOneFile(const SKrFileList& files)
{
    return files.names.size() == 1 && TargetAt(files.names.front()) != EKrTarget::Folder;
}

void RunOnEach(const SKrFileList& files, CKrReport& report, const CKrProgress& progress,
               const std::function<void(const std::string&)>& run)
{
    if (files.isBrief)
        report.SetBrief();
    if (IsOneFile(files) && !files.isBrief)
        return run(files.names.front());
    for (const std::string& file : FilesIn(files.names, progress, report))
    {
        progress.StopIfAsked();
        report.BeginFile(file);
        try
        {
            run(file);
            report.EndFile();
        }
        catch (const CKrToolError& error)
        {
            report.FailFile(error.Path(), error.what());
        }
    }
}
} // namespace KrTool
