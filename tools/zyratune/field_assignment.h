// A value given as text stored in the field that a path names below a loaded structure, as
// the offline set command does it: path and value are checked strictly against the field's
// type, enum set and array size, and nothing is stored unless all of the value fits.
#pragma once

#include <string>

#include "parser/engine/descriptors.h"

namespace zyratune {

// `text` is a JSON value or, for a whole array, its elements joined by ','. ToolError naming
// `where` for a path that names no number field and for a value that does not fit it.
void AssignField(const ParameterEngine::StructDescriptor& type, void* pTop,
                 const std::string& path, const std::string& text, const std::string& where);

}  // namespace zyratune
