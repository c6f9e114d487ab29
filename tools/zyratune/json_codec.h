// Module values as JSON, both ways, walked from the engine's descriptor tables: a structure is
// an object of its fields in order, an array a JSON array (fixed arrays flat, row after row),
// a string a string, an optional element its value or null, a boolean true or false (or its
// number when it holds another), and an enum its number. json_values.h tells the spellings of
// texts that are no UTF-8 and of floating-point values that are no numbers.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "json_values.h"
#include "parser/engine/descriptors.h"

namespace zyratune {

// The values of a loaded structure.
Json DecodeStructure(const ParameterEngine::StructDescriptor& type, const void* pStructure);

// The module's bytes as the engine reads them; strings and arrays become entries of the
// builder, shared where readers share them (AddSharedTarget). A missing field is zero (empty,
// absent); a field the structure has not, or a value of the wrong kind or out of range, throws
// ToolError naming the place as `where` followed by the field's path.
std::vector<uint8_t> EncodeStructure(const ParameterEngine::StructDescriptor& type,
                                     const Json& values, binwriter::TuningBinaryBuilder& builder,
                                     const std::string& where);

// The bits a scalar or enum element holds for `value`, at the element's own width. An enum
// takes the numbers of its set, and also 0, which is what a reader leaves for a number outside
// it, unless `strictEnums`. ToolError naming `where` for a value that does not fit.
uint64_t ElementBits(const ParameterEngine::ElementType& element, const Json& value,
                     const std::string& where, bool strictEnums);

}  // namespace zyratune
