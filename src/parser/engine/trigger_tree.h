// The head words of the nodes of a trigger tree: each node learns its depth and the control
// variable that the module's control_var_type gives that depth.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"

class IParameterLoggingAPI;

namespace ParameterEngine {

// Sets controlVarIndex to `depth` and controlVarType to control_var_type[depth] in `pNode`, and
// so on one level deeper for its children. Where the variables end, the nodes keep zero in both
// words. `pVariables` is the module's control_variables structure.
void UpdateTriggerType(const TriggerTreeDescriptor& tree, const void* pVariables, void* pNode,
                       uint32_t depth, IParameterLoggingAPI* pLogger);

// UpdateTriggerType from depth 0 for every root of the tree of the top structure `pTop`.
void UpdateTriggerTree(const TriggerTreeDescriptor& tree, void* pTop,
                       IParameterLoggingAPI* pLogger);

}  // namespace ParameterEngine
