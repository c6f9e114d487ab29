// A namespace read from a schema file at run time: the descriptors of its enums, structures
// and module classes, the same the generator emits for a compiled schema, living as long as
// this object.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "parser/engine/descriptors.h"
#include "parser/runtimeschema/schema_error.h"
#include "parser/runtimeschema/schema_tables.h"

namespace RuntimeSchema {

// What a namespace offers to the schemas that `use` it: its namespace-level enums and its
// top-level structures, by name.
struct DeclaredNames {
    std::string name;
    // Registers no module; only such a namespace can be used.
    bool shared = false;
    std::unordered_map<std::string, const ParameterEngine::EnumDescriptor*> enums;
    std::unordered_map<std::string, const ParameterEngine::StructDescriptor*> structures;
};

struct SchemaModule {
    const ParameterEngine::ModuleDescriptor* descriptor;
    // Line of the top structure's declaration, where a disagreement with the catalogue shows.
    unsigned int topLine;
};

struct SchemaNamespace {
    std::string path;
    // "tuning", "sensor", "facedetection" or "bitml".
    std::string family;
    DeclaredNames names;
    std::vector<SchemaModule> modules;
    SchemaTables tables;
};

// The namespace that `use NAME` names. Null with an empty message when no schema declares
// it; null with the error of the used schema when that one could not be read.
using NamespaceFinder =
    std::function<const DeclaredNames*(const std::string& name, SchemaError& error)>;

// Reads the schema `text` of the file `path`. Null, with `error` filled, for the first mistake
// in it, as the generator would refuse it.
std::unique_ptr<SchemaNamespace> ReadSchema(const std::string& path, const std::string& text,
                                            const NamespaceFinder& find, SchemaError& error);

}  // namespace RuntimeSchema
