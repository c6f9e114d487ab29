// The symbol and data table entries of a binary as its file holds them, read by the rules the
// library reads them by. The library keeps only what loading needs and drops the tables of a
// binary read from memory, so the tool reads them again for the bytes of modules and of the
// entries that values point to.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "binary_header.h"

class ModuleData;

namespace zyratune {

// A symbol entry's mode field when the entry is no module.
constexpr uint32_t kNotAModule = 0xFFFFFFFFu;

struct TableEntry {
    uint32_t id = 0;
    // Symbol entries only: the type name, the version word and the mode id.
    std::string name;
    uint64_t version = 0;
    uint32_t mode = kNotAModule;
    // The entry's own id where the layout has no duplicate ids.
    uint32_t duplicateId = 0;
    std::vector<uint8_t> bytes;
};

struct BinaryEntries {
    // By id; a later record of an id replaces an earlier one, as in the library.
    std::map<uint32_t, TableEntry> symbols;
    std::map<uint32_t, TableEntry> data;
    bool hasDataTable = false;

    // The entries that pointers in values name: the data table, or without one the symbol
    // table.
    const std::map<uint32_t, TableEntry>& Targets() const {
        return hasDataTable ? data : symbols;
    }
};

// The entries of a binary whose header `header` describes.
BinaryEntries ReadBinaryEntries(const std::vector<uint8_t>& bytes, const BinaryHeader& header);

// The bytes a module instance is loaded from: those of the entry it duplicates, or of its own.
// `data` is the identity the instance was made with; no bytes when the table has no such entry.
std::vector<uint8_t> LoadedBytes(const BinaryEntries& entries, const ModuleData& data);

}  // namespace zyratune
