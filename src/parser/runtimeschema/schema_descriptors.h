// The descriptors of a field and of a module class as a schema declares them; offsets and the
// rest of the layout come later, once the whole file is read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parser/engine/descriptors.h"
#include "parser/runtimeschema/schema_declarations.h"
#include "parser/runtimeschema/schema_tables.h"
#include "parser/runtimeschema/schema_text.h"
#include "parser/runtimeschema/trigger_tree_check.h"

namespace RuntimeSchema {

// A field of `shape` (not Tab: a table is a Single field of its wrapper) over `dims`. `report`
// is the name a counted array's allocation failure shows, empty for the field's own.
ParameterEngine::FieldDescriptor MakeField(const std::string& name,
                                           const ParameterEngine::ElementType& element, Shape shape,
                                           const std::vector<uint64_t>& dims,
                                           const std::string& report, SchemaTables& tables);

struct ModuleDecl {
    const StructDecl* top;
    std::vector<std::string> names;
    Version version;
    // Where its tree lies, for a module in trigger tree form.
    bool hasTree;
    TriggerTreeParts tree;
};

// The class of `module`, once its structures are laid out.
ParameterEngine::ModuleDescriptor& MakeModule(const ModuleDecl& module, bool masksModuleId,
                                              bool hasReflection, SchemaTables& tables);

}  // namespace RuntimeSchema
