#include <cstring>

#include "module_index.h"
#include "parser/setmanager/module_data.h"

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

}  // namespace zyratune
