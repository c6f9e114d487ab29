// Writes a value into every field of a structure, driven only by its descriptor table, and
// checks a loaded structure against the same values. Each scalar gets the next number of one
// running sequence, so a field that is dropped, doubled or read at the wrong width shifts
// everything after it and fails the check.
#pragma once

#include <cstdint>

#include "binwriter/tuning_binary_builder.h"
#include "parser/engine/descriptors.h"

namespace schema_test {

// Elements written for every counted array: enough to tell the elements apart.
constexpr uint32_t kCountedElements = 2;

// The file bytes of `type` with the values of a fresh sequence; counted arrays, strings and
// optional elements go into entries of their own in `builder`.
std::vector<uint8_t> WriteValues(binwriter::TuningBinaryBuilder& builder,
                                 const ParameterEngine::StructDescriptor& type);

// Adds a failure naming the field path for each member of the loaded `pStructure` that does
// not hold the value WriteValues wrote there.
void ExpectValues(const ParameterEngine::StructDescriptor& type, const void* pStructure);

}  // namespace schema_test
