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
    if (pName == nullptr || !module.Loaded) {
        return std::nullopt;
    }
    if (const ParameterEngine::StructDescriptor* pFields = ModuleFields(*pName)) {
        return TypedModule{pFields, pName->top(&module), false};
    }
    const ParameterEngine::SchemaView& view = *pName->schemaValues(&module);
    if (view.pTop == nullptr) {
        return std::nullopt;
    }
    return TypedModule{view.module->top, view.pTop, true};
}

}  // namespace zyratune
