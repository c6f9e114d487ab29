#include <cstring>

#include "module_index.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"

namespace zyratune {

const CatalogueName* FindCatalogueName(const std::string& name) {
    char type[ModuleData::kTypeLength + 1];
    for (size_t i = 0; i < kCatalogueNameCount; ++i) {
        const CatalogueName& entry = kCatalogueNames[i];
        if (name == entry.name ||
            name == ModuleData::GetType(type, entry.name)) {
            return &entry;
        }
    }
    return nullptr;
}

const ParameterEngine::StructDescriptor* ModuleFields(const CatalogueName& name) {
    return name.descriptor != nullptr ? name.descriptor().top : nullptr;
}

std::optional<TypedModule> TypedView(ParameterModule& module) {
    const CatalogueName* pName = module.Name != nullptr ? FindCatalogueName(module.Name) : nullptr;
    const ParameterEngine::StructDescriptor* pFields =
        pName != nullptr ? ModuleFields(*pName) : nullptr;
    if (pFields == nullptr || !module.Loaded) {
        return std::nullopt;
    }
    return TypedModule{pFields, pName->top(&module)};
}

}  // namespace zyratune
