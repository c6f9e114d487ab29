// Module values as JSON, both ways, walked from the engine's descriptor tables: a structure is
// an object of its fields in order, an array a JSON array (fixed arrays flat, row after row),
// a string a string, an optional element its value or null, a boolean true or false, and an
// enum its number.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "binwriter/tuning_binary_builder.h"
#include "parser/engine/descriptors.h"

namespace zyratune {

// The values of a loaded structure.
nlohmann::ordered_json DecodeStructure(const ParameterEngine::StructDescriptor& type,
                               const void* pStructure);

// The module's bytes as the engine reads them; strings and arrays become entries of the
// builder. A missing field is zero (empty, absent); a field the structure has not, or a value
// of the wrong kind or out of range, throws ToolError naming `where`.
std::vector<uint8_t> EncodeStructure(const ParameterEngine::StructDescriptor& type,
                                     const nlohmann::ordered_json& values,
                                     binwriter::TuningBinaryBuilder& builder,
                                     const std::string& where);

}  // namespace zyratune
