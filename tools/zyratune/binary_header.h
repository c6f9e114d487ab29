// The container fields of a tuning binary as they stand in the file, read again by the tool
// for display: the set manager keeps only what loading needs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zyratune {

struct SectionRow {
    uint32_t type;
    uint32_t offset;
    uint32_t size;
};

struct BinaryHeader {
    uint16_t major = 0;
    uint16_t minor = 0;
    uint32_t patch = 0;
    uint32_t headerSize = 0;
    std::string tool;
    std::string binaryTag;
    uint64_t flags = 0;
    uint8_t alignment = 1;
    std::vector<SectionRow> sections;
    uint32_t storedCrc = 0;
    uint32_t computedCrc = 0;

    std::string Version() const;
    // The dataLength field of symbol entry `id` (from 1), unset when the table has no such
    // entry.
    std::optional<uint32_t> EntryLength(const std::vector<uint8_t>& bytes, uint32_t id) const;
    // The names of the symbol entries that are modules, in table order.
    std::vector<std::string> ModuleNames(const std::vector<uint8_t>& bytes) const;
    bool CrcMatches() const { return storedCrc == computedCrc; }
};

// Reads the fields of a binary that the set manager has loaded, so that they are in range.
BinaryHeader ReadBinaryHeader(const std::vector<uint8_t>& bytes);

const char* SectionName(uint32_t type);

}  // namespace zyratune
