// The verbs of the command line. Each lies in a file of its own in tools/verbs, with its options, its help
// and what it does, and puts itself into the table here.
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
void AddWriteVerb(CKrVerbTable& verbs);
void AddRewrapVerb(CKrVerbTable& verbs);
void AddCutVerb(CKrVerbTable& verbs);
void AddConcatVerb(CKrVerbTable& verbs);
void AddRecoverVerb(CKrVerbTable& verbs);
void AddManVerb(CKrVerbTable& verbs);
void AddCompletionVerb(CKrVerbTable& verbs);
} // namespace KrTool

#endif
