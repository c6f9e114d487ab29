// What a caller describes to the builder: symbol and data table entries, mode records,
// sections, and the raw overrides that let a test write fields a reader must refuse.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "binwriter/format_rules.h"
#include "binwriter/version.h"

namespace binwriter {

// Values written in place of what the builder would work out for an entry.
struct EntryOverrides {
    std::optional<uint32_t> id;
    std::optional<uint32_t> dataOffset;
    std::optional<uint32_t> dataLength;
};

// One entry of the symbol table: a module, or with `mode` kNotAModule an object that
// pointers of binaries without a data table name.
struct SymbolEntry {
    std::string name;
    Version version;
    uint32_t mode = kNotAModule;
    std::vector<uint8_t> data;
    // Id of the entry whose values these are; unset means the entry's own id. Written only
    // by versions that carry duplicate ids.
    std::optional<uint32_t> duplicateId;
    EntryOverrides overrides;
};

// One entry of the data table: an object that a pointer in some entry's values names.
struct DataEntry {
    std::vector<uint8_t> data;
    std::optional<uint32_t> duplicateId;
    EntryOverrides overrides;
};

// One record of the mode section. Its id is its index in the builder's list.
struct ModeRecord {
    uint16_t mode = 0;
    uint16_t subMode = 0;
    std::optional<uint32_t> parent;  // unset: a node without parent
    std::optional<uint32_t> link;    // unset: no link
    bool pinned = false;
    std::optional<uint32_t> idOverride;
};

enum class SectionType : uint32_t {
    SymbolTable = 0,
    DataBlock = 1,
    ModeSection = 2,
    DataTable = 3,
};

// One row of the section table. A known type places that section's bytes in the file the
// first time it is listed; offset and size default to where they were placed (0 and 0 for
// a type the builder has no bytes for).
struct SectionEntry {
    uint32_t type = 0;
    std::optional<uint32_t> offset;
    std::optional<uint32_t> size;

    SectionEntry(SectionType sectionType) : type(static_cast<uint32_t>(sectionType)) {}
    SectionEntry(uint32_t rawType, std::optional<uint32_t> rawOffset = {},
                 std::optional<uint32_t> rawSize = {})
        : type(rawType), offset(rawOffset), size(rawSize) {}
};

// Raw values for the container's own fields, and a CRC tail that does not match.
struct ContainerOverrides {
    std::optional<std::string> headerTag;
    std::optional<uint32_t> headerSize;
    std::optional<uint32_t> sectionTableOffset;
    std::optional<uint32_t> sectionCount;
    bool corruptCrc = false;
};

}  // namespace binwriter
