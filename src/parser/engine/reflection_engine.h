// Field reflection of any plain structure, walked from its descriptor table: a text path such
// as "regions[1].weights[2]" names a field, which can be read as text, changed from text, or
// described. No operation logs or allocates (but the list's records); a bad path, an index out
// of range or a text that is no number answers false and changes nothing.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"
#include "parser/foundation/plist.h"

class ParameterModule;
struct ParameterParserInfo;

namespace ParameterEngine {

// Writes the text of the field that `pPath` names into `pOut`, cut to `length`. An array of
// scalars or enums without a valid index gives all its elements joined by ','.
bool GetValue(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              char* pOut, unsigned int length);

// Stores `pValue` in the field that `pPath` names, converted to the type the field is held in.
// An array of scalars or enums without a valid index takes a ',' separated list.
bool SetValue(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
              const char* pValue);

// Appends one record per field for an empty path, else the record or records of the field the
// path names.
bool GetInfo(const StructDescriptor& descriptor, void* pStructure, const char* pPath,
             PList<ParameterParserInfo>& info);

// SetValue on the top structure of `instance`. A change counts in Modified and in the change
// generation kept in the top byte of `moduleId`, which runs 1 to 255 and then wraps to 1.
bool SetModuleValue(ParameterModule& instance, const StructDescriptor& top, void* pTop,
                    uint32_t& moduleId, const char* pPath, const char* pValue);

}  // namespace ParameterEngine
