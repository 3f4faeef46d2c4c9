// Verbs that take several files, and folders.
#ifndef KR_TOOLS_AVI_KRFILELIST_H
#define KR_TOOLS_AVI_KRFILELIST_H

#include <functional>
#include <string>
#include <vector>

namespace KrTool
{
class CKrProgress;
class CKrReport;
class CKrVerbOptions;

struct SKrFileList
{
    std::vector<std::string> names; // of files and folders
    bool isBrief = false;
};

// Adds the names and --brief.
void AddFileList(CKrVerbOptions& verb, SKrFileList& files, bool isRequired = true);

// Whether the names are those of one file, whose report needs no others around it.
bool IsOneFile(const SKrFileList& files);

// Calls `run` for each file. In place of a folder come all files in it and below it whose names end with
// ".avi". Of several files, one that fails is reported and does not keep the others from their turn.
void RunOnEach(const SKrFileList& files, CKrReport& report, const CKrProgress& progress,
               const std::function<void(const std::string&)>& run);
} // namespace KrTool

#endif
