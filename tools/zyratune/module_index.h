// Every name of the module catalogue with its set manager and, where the namespace is typed,
// the descriptor table the engine loads it by and the way from a module to its top structure.
#pragma once

#include <cstddef>
#include <string>

#include "parser/engine/descriptors.h"

class ParameterModule;

namespace zyratune {

struct CatalogueName {
    const char* name;
    const char* manager;
    // Null for an opaque class.
    const ParameterEngine::ModuleDescriptor& (*descriptor)();
    void* (*top)(ParameterModule* pModule);
};

extern const CatalogueName kCatalogueNames[];
extern const size_t kCatalogueNameCount;

// The entry of a full or short (symbol table) name, or null.
const CatalogueName* FindCatalogueName(const std::string& name);

}  // namespace zyratune
