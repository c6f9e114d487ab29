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

}  // namespace RuntimeSchema
