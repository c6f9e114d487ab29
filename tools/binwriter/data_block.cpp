#include "binwriter/data_block.h"

#include <algorithm>

#include "binwriter/checked_size.h"

namespace binwriter {

StoredData DataBlock::Store(const std::vector<uint8_t>& bytes,
                            std::optional<DuplicateGroup> group) {
    if (group) {
        auto found = m_firstCopies.find(*group);
        if (found != m_firstCopies.end()) {
            const StoredData& copy = found->second;
            const uint8_t* stored = m_writer.Bytes().data() + copy.offset;
            if (copy.length == bytes.size() && std::equal(bytes.begin(), bytes.end(), stored)) {
                return copy;
            }
        }
    }
    auto equal = m_storeEqualOnce ? m_copies.find(bytes) : m_copies.end();
    StoredData placed;
    if (equal != m_copies.end()) {
        placed = equal->second;
    } else {
        m_writer.PadToAlignment();
        placed = StoredData{ToU32(m_writer.Size()), ToU32(bytes.size())};
        m_writer.Raw(bytes);
        if (m_storeEqualOnce) {
            m_copies.emplace(bytes, placed);
        }
    }
    if (group) {
        m_firstCopies.emplace(*group, placed);
    }
    return placed;
}

}  // namespace binwriter
