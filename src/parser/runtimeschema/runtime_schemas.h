// The run-time schemas of one set manager: the directories it reads, and the layout each
// registered name of its catalogue gets from them. Only catalogue namespaces that are opaque in
// the build take a layout; a schema of a namespace compiled into the library is ignored with a
// warning, and a schema that cannot be read or disagrees with the catalogue leaves its
// namespace opaque with one error naming file and line. Nothing is ever removed, so a layout
// stays valid for as long as this object lives.
#pragma once

#include <map>
#include <string>
#include <unordered_map>
#include <vector>

#include "parser/engine/schema_view.h"
#include "parser/runtimeschema/catalogue_check.h"
#include "parser/runtimeschema/schema_files.h"

class IParameterLoggingAPI;

namespace RuntimeSchema {

class RuntimeSchemas {
public:
    // `family` is the set manager's: tuning, sensor, facedetection or bitml.
    RuntimeSchemas(std::vector<CatalogueClass> catalogue, std::string family);
    RuntimeSchemas(const RuntimeSchemas&) = delete;
    RuntimeSchemas& operator=(const RuntimeSchemas&) = delete;

    // Reads the schema files of `directory` that are named after a namespace of the catalogue.
    // False when the directory cannot be read or one of its schemas was refused; `error` then
    // holds the last message. Messages go to `pLogger`.
    bool AddDirectory(const std::string& directory, IParameterLoggingAPI* pLogger,
                      std::string& error);

    // The layout of the module registered as `pName`; null when it has none.
    const ParameterEngine::SchemaLayout* Find(const char* pName) const;

private:
    // Checks and takes the schema `file` of the catalogue namespace `nameSpace`.
    bool Take(const std::string& nameSpace, const std::string& file, IParameterLoggingAPI* pLogger,
              std::string& error);

    std::vector<CatalogueClass> m_catalogue;
    std::string m_family;
    SchemaFiles m_files{true};
    // The file each namespace was taken from, or refused in.
    std::map<std::string, std::string> m_namespaceFiles;
    std::unordered_map<std::string, ParameterEngine::SchemaLayout> m_layouts;
};

}  // namespace RuntimeSchema
