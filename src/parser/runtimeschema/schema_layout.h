// Offsets, sizes and the remaining words of the descriptors of a schema read at run time,
// computed by the rules of the C ABI the library is built for, as the compiler lays out the
// generated structures.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "parser/runtimeschema/schema_declarations.h"
#include "parser/runtimeschema/schema_error.h"

namespace RuntimeSchema {

// Structures nest in line at most this deep, and take at most kMaxStructureSize bytes, so
// that a module's values fit in one allocation and its walks in the stack.
constexpr unsigned int kMaxStructureDepth = 64;
constexpr uint64_t kMaxStructureSize = uint64_t{1} << 24;

// Completes the descriptors of `structures` (offsets, sizes, duplicate sites under
// `siteSource`, whether they own memory). False, with `error` at the structure's line, for a
// structure that is too large or nests too deep.
bool LayOut(const std::vector<std::unique_ptr<StructDecl>>& structures, const char* siteSource,
            const std::string& path, SchemaError& error);

}  // namespace RuntimeSchema
