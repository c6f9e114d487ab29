// A tuning binary from a JSON description (binary_description.h), written through the binary
// writer with equal values shared. Whatever cannot be written is refused with a ToolError that
// names its JSON path, after `input` (the file name).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "json_values.h"

namespace zyratune {

std::vector<uint8_t> BuildBinary(const Json& description, const std::string& input);

}  // namespace zyratune
