// The data block: every entry's values one after the other, each starting on the
// alignment, with entries of one duplicate group sharing a single copy of equal values.
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
    explicit DataBlock(uint8_t alignment) : m_writer(alignment) {}

    // Stores `bytes`, or hands back the copy stored earlier for the same group when the
    // bytes are equal. Without a group the bytes always get a copy of their own.
    StoredData Store(const std::vector<uint8_t>& bytes, std::optional<DuplicateGroup> group);

    std::vector<uint8_t> Release() { return m_writer.Release(); }

private:
    ByteWriter m_writer;
    std::map<DuplicateGroup, StoredData> m_firstCopies;
};

}  // namespace binwriter
