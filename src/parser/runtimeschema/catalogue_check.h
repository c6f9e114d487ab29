// A run-time schema of a catalogue namespace against the catalogue: the classes, versions,
// names and family the build would demand of a compiled one (codegen/zyra_schema/catalogue.py).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "parser/runtimeschema/schema_error.h"
#include "parser/runtimeschema/schema_namespace.h"

namespace RuntimeSchema {

// One module class of a set manager's catalogue.
struct CatalogueClass {
    std::string nameSpace;
    std::string top;
    uint16_t major;
    uint16_t minor;
    uint32_t patch;
    // Registered names, in the order of registration.
    std::vector<std::string> names;
};

// False, with the first disagreement in `error`, unless `schema` declares exactly `classes`,
// the catalogue's classes of its namespace, in the family `family`.
bool CheckAgainstCatalogue(const SchemaNamespace& schema,
                           const std::vector<const CatalogueClass*>& classes,
                           const std::string& family, SchemaError& error);

}  // namespace RuntimeSchema
