#include "parser/runtimeschema/compiled_namespaces.h"

namespace RuntimeSchema {

const CompiledNamespace* FindCompiledNamespace(const std::string& name) {
    for (const CompiledNamespace* pEntry = kCompiledNamespaces; pEntry->name != nullptr; ++pEntry) {
        if (name == pEntry->name) {
            return pEntry;
        }
    }
    return nullptr;
}

std::unique_ptr<DeclaredNames> DeclaredNamesOf(const CompiledNamespace& compiled) {
    std::unique_ptr<DeclaredNames> names(new DeclaredNames);
    names->name = compiled.name;
    names->shared = compiled.moduleCount == 0;
    for (uint32_t i = 0; i < compiled.nameCount; ++i) {
        const CompiledName& declared = compiled.names[i];
        if (declared.enumType != nullptr) {
            names->enums.emplace(declared.name, declared.enumType);
        } else {
            names->structures.emplace(declared.name, declared.structType);
        }
    }
    return names;
}

}  // namespace RuntimeSchema
