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

// "major.minor.patch".
std::string VersionText(uint64_t major, uint64_t minor, uint64_t patch);

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
    bool AtLeast(uint16_t atLeastMajor, uint16_t atLeastMinor, uint32_t atLeastPatch) const;
    // The section of a type, which a later row of the table gives where there are several;
    // unset when the table lists none.
    std::optional<SectionRow> Section(uint32_t type) const;
    bool CrcMatches() const { return storedCrc == computedCrc; }
};

// Reads the fields of a binary that the set manager has loaded, so that they are in range.
BinaryHeader ReadBinaryHeader(const std::vector<uint8_t>& bytes);

const char* SectionName(uint32_t type);

}  // namespace zyratune
