// The indexes of all streams of the open file, as LoadStreamIndex gives them.
#ifndef KR_READER_KRSTREAMINDEXES_H
#define KR_READER_KRSTREAMINDEXES_H

#include "KrRiffUtils/KrFramework.h"
#include "KrRiffUtils/KrRiffTypes.h"
#include "reader/KrFileLayout.h"
#include "reader/KrIndexDirectory.h"
#include "reader/KrOldStreamIndex.h"

#include <cstdint>
#include <map>
#include <memory>
#include <vector>

class CKrStreamTable;
class IKrFile;

// Chooses the index of a stream and remembers which of its blocks hold which entries. Guarded by the reader's
// lock.
class CKrStreamIndexes
{
public:
    // The directory of a stream's 'indx'; an empty one when there was none. For a file that grows: it stays
    // where it is until Clear.
    [[nodiscard]] CKrIndexDirectory& Directory(uint32_t stream) { return m_directories[stream]; }

    // Payload positions of all chunks that the indexes name in the 'movi' of a segment, in ascending order.
    // False when the file cannot be read.
    [[nodiscard]] bool FindNamed(IKrFile& file, uint64_t fileSize, const KrStreamLists& streams,
                                 const SKrSegment& segment, std::vector<uint64_t>& named);

    // Forgets what belongs to the file that was open.
    void Clear();

    // The stream's entries from number `first` on. Kept: an 'indx' without a single index chunk counts for
    // nothing when 'idx1' has entries of the stream; some writers reserve the one and fill the other.
    [[nodiscard]] bool Load(CKrStreamTable& table, IKrFile& file, uint64_t fileSize, uint32_t stream,
                            uint64_t first, CArray<SKrStreamIndexEntry>& out);

private:
    [[nodiscard]] const CKrIndexDirectory* ReadDirectory(IKrFile& file, uint64_t fileSize, uint32_t stream,
                                                         uint64_t indx);

    [[nodiscard]] KrOldIndexPieces& PiecesOf(uint32_t stream,
                                             const std::shared_ptr<const CKrOldStreamIndex>& index);

    // Of the streams that were loaded:
    std::map<uint32_t, CKrIndexDirectory> m_directories;
    std::map<uint32_t, KrOldIndexPieces> m_pieces;
    std::shared_ptr<const CKrOldStreamIndex> m_oldIndex; // that the pieces are of
};

#endif
