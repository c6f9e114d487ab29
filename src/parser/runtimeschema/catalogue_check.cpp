#include "parser/runtimeschema/catalogue_check.h"

namespace RuntimeSchema {
namespace {

std::string Triple(uint32_t major, uint32_t minor, uint32_t patch) {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " ") + name;
    }
    return text;
}

std::string TopOf(const ParameterEngine::ModuleDescriptor& module) { return module.top->name; }

}  // namespace

bool CheckAgainstCatalogue(const SchemaNamespace& schema,
                           const std::vector<const CatalogueClass*>& classes,
                           const std::string& family, SchemaError& error) {
    auto moduleOf = [&](const std::string& top) -> const SchemaModule* {
        for (const SchemaModule& module : schema.modules) {
            if (TopOf(*module.descriptor) == top) {
                return &module;
            }
        }
        return nullptr;
    };
    for (const CatalogueClass* pClass : classes) {
        if (moduleOf(pClass->top) == nullptr) {
            error = {schema.path, 1,
                     "the catalogue's class '" + pClass->top + "' has no module line"};
            return false;
        }
    }
    if (schema.family != family) {
        error = {schema.path, 1,
                 "family '" + schema.family + "' differs from the catalogue's '" + family + "'"};
        return false;
    }
    for (const SchemaModule& module : schema.modules) {
        const ParameterEngine::ModuleDescriptor& declared = *module.descriptor;
        const std::string top = TopOf(declared);
        const CatalogueClass* pClass = nullptr;
        for (const CatalogueClass* pCandidate : classes) {
            if (pCandidate->top == top) {
                pClass = pCandidate;
            }
        }
        if (pClass == nullptr) {
            error = {schema.path, module.topLine,
                     "'" + top + "' is no top structure of namespace '" + schema.names.name +
                         "' in the catalogue"};
            return false;
        }
        if (declared.major != pClass->major || declared.minor != pClass->minor ||
            declared.patch != pClass->patch) {
            error = {schema.path, module.topLine,
                     "version " + Triple(declared.major, declared.minor, declared.patch) + " of '" +
                         top + "' differs from the catalogue's " +
                         Triple(pClass->major, pClass->minor, pClass->patch)};
            return false;
        }
        const std::vector<std::string> names(declared.names, declared.names + declared.nameCount);
        if (names != pClass->names) {
            error = {schema.path, module.topLine,
                     "names " + Joined(names) + " of '" + top + "' differ from the catalogue's " +
                         Joined(pClass->names)};
            return false;
        }
    }
    return true;
}

}  // namespace RuntimeSchema
