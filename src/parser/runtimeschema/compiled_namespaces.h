// The namespaces whose schemas are compiled into the library, as the build lists them
// (generated compiled_namespaces.cpp): what a shared one declares for the schemas that use it,
// and the module classes of a typed one.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "parser/engine/descriptors.h"
#include "parser/runtimeschema/schema_namespace.h"

namespace RuntimeSchema {

// A namespace-level enum or a top-level structure of a shared namespace.
struct CompiledName {
    const char* name;
    const ParameterEngine::EnumDescriptor* enumType;
    const ParameterEngine::StructDescriptor* structType;
};

struct CompiledNamespace {
    const char* name;
    // A shared namespace's names; none in a namespace that registers modules.
    const CompiledName* names;
    uint32_t nameCount;
    // The module classes' descriptors; none in a shared namespace.
    const ParameterEngine::ModuleDescriptor& (*const* modules)();
    uint32_t moduleCount;
};

// Every compiled namespace, ended by an entry with a null name.
extern const CompiledNamespace kCompiledNamespaces[];

// The compiled namespace of that name, or null.
const CompiledNamespace* FindCompiledNamespace(const std::string& name);

// What a compiled namespace offers to the schemas that `use` it.
std::unique_ptr<DeclaredNames> DeclaredNamesOf(const CompiledNamespace& compiled);

}  // namespace RuntimeSchema
