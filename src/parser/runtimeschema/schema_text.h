// The words of a schema file: its lines and, on each, the blank-separated words before a `#`.
// Lines end where Python's str.splitlines ends them and words split where str.split does, for
// the ASCII characters, so that the library reads a file as the generator does.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace RuntimeSchema {

std::vector<std::string> SplitLines(const std::string& text);
std::vector<std::string> Words(const std::string& line);

// [A-Za-z_][A-Za-z0-9_]*
bool IsIdentifier(const std::string& word);

// The decimal number of `digits` (ASCII digits only, at least one), or false. Values beyond
// 2^63 read as 2^63: every limit of the format is far below.
bool ReadNumber(const std::string& digits, uint64_t& value);

}  // namespace RuntimeSchema
