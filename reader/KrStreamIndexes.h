// The indexes of all streams of the open file, as LoadStreamIndex gives them.
#ifndef KR_READER_KRSTREAMINDEXES_H
#define KR_READER_KRSTREAMINDEXES_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrIndexDirectory.h"

#include <cstdint>
#include <map>

class CKrStreamTable;
class IKrFile;

// Chooses the index of a stream and remembers which of its blocks hold which entries. Guarded by the reader's
// lock.
class CKrStreamIndexes
{
public:
    // Forgets what belongs to the file that was open.
    void Clear() { m_directories.clear(); }

    // The stream's entries from number `first` on. Kept: an 'indx' without a single index chunk counts for
    // nothing when 'idx1' has entries of the stream; some writers reserve the one and fill the other.
    [[nodiscard]] bool Load(CKrStreamTable& table, IKrFile& file, uint64_t fileSize, uint32_t stream,
                            uint64_t first, CArray<SKrStreamIndexEntry>& out);

private:
    [[nodiscard]] const CKrIndexDirectory* Directory(IKrFile& file, uint64_t fileSize, uint32_t stream,
                                                     uint64_t indx);

    std::map<uint32_t, CKrIndexDirectory> m_directories; // of the streams that were loaded
};

#endif
