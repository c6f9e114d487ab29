// Where a module in trigger tree form keeps its tree, found and checked in the descriptors of
// its top structure by the generator's rules (codegen/zyra_schema/trigger_tree.py).
#pragma once

#include <string>

#include "parser/engine/descriptors.h"
#include "parser/runtimeschema/schema_tables.h"

namespace RuntimeSchema {

struct TriggerTreeParts {
    // control_variables of the top structure, and its counted control_var_type.
    const ParameterEngine::FieldDescriptor* variables = nullptr;
    const ParameterEngine::FieldDescriptor* variableArray = nullptr;
    // The top structure's field that holds the roots, and their counted array in it.
    const ParameterEngine::FieldDescriptor* core = nullptr;
    const ParameterEngine::FieldDescriptor* roots = nullptr;
    // The node's counted `trigger`.
    const ParameterEngine::FieldDescriptor* children = nullptr;
};

// False, with what is missing in `problem`, when `top` holds no tree.
bool FindTriggerTree(const ParameterEngine::StructDescriptor& top, TriggerTreeParts& parts,
                     std::string& problem);

// The table of a tree found before, once the structures are laid out.
ParameterEngine::TriggerTreeDescriptor& MakeTriggerTree(const TriggerTreeParts& parts,
                                                        SchemaTables& tables);

}  // namespace RuntimeSchema
