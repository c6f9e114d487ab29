// Bytes of the file header and of the section table.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/version.h"

namespace binwriter {

struct HeaderFields {
    std::string tag;
    uint32_t headerSize = 0;
    Version version;
    std::string tool;       // written from the Tool version on
    std::string binaryTag;  // written from the Tool version on
    uint64_t flags = 0;     // written from the flags version on
    uint32_t sectionTableOffset = 0;
    uint32_t sectionCount = 0;
};

// The header's fields take their own widths whatever the alignment.
std::vector<uint8_t> EncodeHeader(const HeaderFields& fields);

struct SectionRow {
    uint32_t type = 0;
    uint32_t offset = 0;
    uint32_t size = 0;
};

std::vector<uint8_t> EncodeSectionTable(const std::vector<SectionRow>& rows, uint8_t alignment);

// Bytes the section table of `count` rows takes.
size_t SectionTableSize(size_t count, uint8_t alignment);

}  // namespace binwriter
