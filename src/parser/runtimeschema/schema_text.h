// The words of a schema file: its lines and, on each, the blank-separated words before a `#`.
// Lines end where Python's str.splitlines ends them and words split where str.split does, for
// the ASCII characters, so that the library reads a file as the generator does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parser/engine/descriptors.h"

namespace RuntimeSchema {

std::vector<std::string> SplitLines(const std::string& text);
std::vector<std::string> Words(const std::string& line);

// [A-Za-z_][A-Za-z0-9_]*
bool IsIdentifier(const std::string& word);

// The decimal number of `digits` (ASCII digits only, at least one), or false. Values beyond
// 2^63 read as 2^63: every limit of the format is far below.
bool ReadNumber(const std::string& digits, uint64_t& value);

struct Version {
    uint16_t major;
    uint16_t minor;
    uint32_t patch;
};

// A.B.C within 16, 16 and 32 bits; false with the message for a word that is not one.
bool ReadVersion(const std::string& word, Version& version, std::string& problem);

// The values of an enum from `words[first]` on, numbers and ranges A-B that must not overlap,
// in rising order and joined where adjacent; false with the message for the first bad word.
bool ReadEnumValues(const std::vector<std::string>& words, size_t first,
                    std::vector<ParameterEngine::EnumRange>& ranges, std::string& problem);

}  // namespace RuntimeSchema
