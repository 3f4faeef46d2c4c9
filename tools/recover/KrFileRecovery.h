// A file whose headers are there, or those of another file of the same recorder, made complete again: all
// streams, with what was lost filled.
#ifndef KR_TOOLS_RECOVER_KRFILERECOVERY_H
#define KR_TOOLS_RECOVER_KRFILERECOVERY_H

namespace KrTool
{
class CKrProgress;
class CKrReport;
struct SKrRecoverOptions;

// False, with nothing done, where headers are missing that the options do not replace by a file.
[[nodiscard]] bool RecoverWholeFile(const SKrRecoverOptions& options, CKrReport& report,
                                    CKrProgress& progress);
} // namespace KrTool

#endif
