// Every name of the module catalogue with its set manager and version and, where the
// namespace is typed, the descriptor table the engine loads it by and the way from a module to
// its top structure; where it is opaque, the way to the values a run-time schema lays out.
// Whether the tool shows and writes a module as values or as bytes is decided here alone
// (ModuleFields, TypedView); the commands ask these two.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "binwriter/version.h"
#include "parser/engine/descriptors.h"
#include "parser/engine/schema_view.h"

class ParameterModule;

namespace zyratune {

struct CatalogueName {
    const char* name;
    const char* manager;
    binwriter::Version version;
    // Null for an opaque class.
    const ParameterEngine::ModuleDescriptor& (*descriptor)();
    void* (*top)(ParameterModule* pModule);
    // Null for a typed class.
    const ParameterEngine::SchemaView* (*schemaValues)(ParameterModule* pModule);
};

extern const CatalogueName kCatalogueNames[];
extern const size_t kCatalogueNameCount;

// The entry of a full or short (symbol table) name, or null.
const CatalogueName* FindCatalogueName(const std::string& name);

// The fields a module of this name has for the tool, null when the tool knows it only as bytes.
const ParameterEngine::StructDescriptor* ModuleFields(const CatalogueName& name);

// A loaded module whose fields the tool knows: its top structure and the fields' table.
struct TypedModule {
    const ParameterEngine::StructDescriptor* type;
    void* pTop;
    // The fields come from a run-time schema: the binary keeps the module as bytes, and the
    // values are a view of them that only this set manager's schemas give.
    bool runTime;
};

// Unset for a module the tool knows only as bytes, and for one that is not loaded. An opaque
// module whose run-time schema it fits is known by that schema's fields.
std::optional<TypedModule> TypedView(ParameterModule& module);

}  // namespace zyratune
