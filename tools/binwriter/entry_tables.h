// Bytes of the symbol table and the data table.
#pragma once

#include <cstdint>
#include <vector>

#include "binwriter/entries.h"
#include "binwriter/version.h"

namespace binwriter {

// The numbers an entry writes besides its own description, overrides already applied.
struct EntryPlacement {
    uint32_t id = 0;
    uint32_t dataOffset = 0;
    uint32_t dataLength = 0;
    uint32_t duplicateId = 0;
};

// `placements` runs parallel to `entries`.
std::vector<uint8_t> EncodeSymbolTable(const std::vector<SymbolEntry>& entries,
                                       const std::vector<EntryPlacement>& placements,
                                       const Version& binaryVersion);

std::vector<uint8_t> EncodeDataTable(const std::vector<EntryPlacement>& placements,
                                     const Version& binaryVersion);

}  // namespace binwriter
