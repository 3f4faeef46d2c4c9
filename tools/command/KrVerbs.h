// The verbs of the command line. Each lies in a file of its own in tools/verbs, with its options, its help
// and what it does, and puts itself into the table. A new one is a declaration and a place in the list here.
#ifndef KR_TOOLS_COMMAND_KRVERBS_H
#define KR_TOOLS_COMMAND_KRVERBS_H

namespace KrTool
{
class CKrVerbTable;

void AddInfoVerb(CKrVerbTable& verbs);
void AddTreeVerb(CKrVerbTable& verbs);
void AddIndexVerb(CKrVerbTable& verbs);
void AddVerifyVerb(CKrVerbTable& verbs);
void AddMapVerb(CKrVerbTable& verbs);
void AddHashVerb(CKrVerbTable& verbs);
void AddExtractVerb(CKrVerbTable& verbs);
void AddFollowVerb(CKrVerbTable& verbs);
void AddWriteVerb(CKrVerbTable& verbs);
void AddRewrapVerb(CKrVerbTable& verbs);
void AddCutVerb(CKrVerbTable& verbs);
void AddConcatVerb(CKrVerbTable& verbs);
void AddRecoverVerb(CKrVerbTable& verbs);
void AddSetVerb(CKrVerbTable& verbs);
void AddReindexVerb(CKrVerbTable& verbs);
void AddUndoVerb(CKrVerbTable& verbs);
void AddManVerb(CKrVerbTable& verbs);
void AddCompletionVerb(CKrVerbTable& verbs);

// In the order of the help.
inline constexpr void (*kVerbs[])(CKrVerbTable&) = {
    AddInfoVerb,    AddTreeVerb,   AddIndexVerb,   AddVerifyVerb, AddMapVerb, AddHashVerb,
    AddExtractVerb, AddFollowVerb, AddWriteVerb,   AddRewrapVerb, AddCutVerb, AddConcatVerb,
    AddRecoverVerb, AddSetVerb,    AddReindexVerb, AddUndoVerb,   AddManVerb, AddCompletionVerb};
} // namespace KrTool

#endif
