// Which chunks are key frames, for the entries of new indexes.
#ifndef KR_TOOLS_MEND_KRCHUNKKEYS_H
#define KR_TOOLS_MEND_KRCHUNKKEYS_H

#include "tools/copier/KrKeyGuess.h"
#include "tools/mend/KrReindexModel.h"

#include <vector>

namespace KrTool
{
class CKrByteSource;

// By the codec of its format.
[[nodiscard]] EKrKeyRule KeyRuleOf(const CKrByteSource& file, const SKrVerifyStream& stream);

// For each of the model's chunks, as the old indexes say; otherwise as the first bytes of a frame do. Frames
// of which neither is known count as key frames unless an index says that others of the stream are not.
[[nodiscard]] std::vector<bool> FindKeyChunks(const CKrByteSource& file, const SKrReindexScan& scan);
} // namespace KrTool

#endif
