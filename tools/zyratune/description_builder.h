// A tuning binary from a JSON description (binary_description.h), written through the binary
// writer with equal values shared. Whatever cannot be written is refused with a ToolError that
// names its JSON path, after `input` (the file name).
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "json_values.h"
#include "parser/engine/descriptors.h"

namespace zyratune {

// The fields a run-time schema gives a module of this name, null when none does.
using RunTimeFields =
    std::function<const ParameterEngine::StructDescriptor*(const std::string& name)>;

// A module of an opaque class given as values is written by `runTimeFields`; without them
// such a module takes bytes. build writes the bytes of a module and never its schemaValues.
std::vector<uint8_t> BuildBinary(const Json& description, const std::string& input,
                                 const RunTimeFields& runTimeFields = nullptr);

}  // namespace zyratune
