// The data block: every entry's values one after the other, each starting on the
// alignment, with entries of one duplicate group sharing a single copy of equal values, and
// optionally every run of equal values stored once.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <utility>
#include <vector>

#include "binwriter/byte_writer.h"

namespace binwriter {

// Where an entry's values lie, from the start of the data block.
struct StoredData {
    uint32_t offset = 0;
    uint32_t length = 0;
};

// Duplicate ids number symbol entries and data table entries apart.
enum class EntryTable { Symbols, Data };
using DuplicateGroup = std::pair<EntryTable, uint32_t>;

class DataBlock {
public:
    // With `storeEqualOnce` entries of equal values share one copy whatever their groups:
    // readers copy values out of the block, so where they lie is of no account.
    DataBlock(uint8_t alignment, bool storeEqualOnce)
        : m_writer(alignment), m_storeEqualOnce(storeEqualOnce) {}

    // Stores `bytes`, or hands back the copy stored earlier for the same group when the
    // bytes are equal. Without a group the bytes get a copy of their own unless equal ones are
    // stored once.
    StoredData Store(const std::vector<uint8_t>& bytes, std::optional<DuplicateGroup> group);

    std::vector<uint8_t> Release() { return m_writer.Release(); }

private:
    ByteWriter m_writer;
    bool m_storeEqualOnce;
    std::map<DuplicateGroup, StoredData> m_firstCopies;
    std::map<std::vector<uint8_t>, StoredData> m_copies;
};

}  // namespace binwriter
