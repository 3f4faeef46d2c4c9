// Checks the positions of the walks and searches in their lists.
#ifndef KR_READER_KRBOUNDSCHECK_H
#define KR_READER_KRBOUNDSCHECK_H

#include <cstddef>
#include <cstdint>
#include <stdexcept>

// Throws std::out_of_range, which hosts see, unless the index lies within a list of `size` elements.
inline size_t CheckedIndex(int32_t index, size_t size)
{
    if (index < 0 || static_cast<size_t>(index) >= size)
        throw std::out_of_range("invalid vector<T> subscript");
    return static_cast<size_t>(index);
}

#endif
