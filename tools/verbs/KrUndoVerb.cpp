// kravi undo: takes back what kravi set and kravi reindex changed.
#include "tools/command/KrReport.h"
#include "tools/command/KrVerbTable.h"
#include "tools/command/KrVerbs.h"
#include "tools/mend/KrMendedFile.h"

#include <nlohmann/json.hpp>

namespace KrTool
{
namespace
{
const SKrVerbHelp kUndoHelp = {
    "undo",
    "Take back the last change of kravi set or kravi reindex",
    {
        R"(Restores the file byte for byte from the undo file beside it (clip.avi.kravi-undo), which is deleted
        with the last change in it. Also takes back a change that was interrupted. If it is interrupted itself,
        it can be repeated.)",
        R"(A file that was changed by anything else since, or that the undo file is not about, is left as it
        is.)",
    },
    {
        "kravi undo clip.avi",
    },
};

void RunUndo(const std::string& path, CKrReport& report)
{
    CKrMendedFile file(KrPlatform::OsFileSystem(), path);
    const SKrUndone undone = file.Undo();
    const bool isDone = !undone.verb.empty();
    report.Fact("file", path);
    report.Fact("undone", isDone ? Json(undone.verb) : Json());
    report.Fact("bytesRestored", isDone ? undone.changed.bytes : 0);
    report.Fact("length", file.Length());
    report.Fact("hasMore", undone.hasMore, undone.hasMore ? "yes" : "no");
    if (!isDone)
        report.Note("the change had not begun, or was taken back already; the file is as it was before");
}
} // namespace

void AddUndoVerb(CKrVerbTable& verbs)
{
    const auto file = std::make_shared<std::string>();
    verbs.Add(kUndoHelp, *file, [file](auto& report, auto&) { RunUndo(*file, report); });
}
} // namespace KrTool
