// Schema files found by namespace name in a list of directories, each read once, and the
// namespaces `use` lines name. A used namespace that is compiled into the library is taken
// from the library, so that the structures it shares are laid out once.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "parser/runtimeschema/schema_namespace.h"

namespace RuntimeSchema {

class SchemaFiles {
public:
    // Without `useCompiled` every `use` is read from a file, as the generator reads it.
    explicit SchemaFiles(bool useCompiled) : m_useCompiled(useCompiled) {}
    SchemaFiles(const SchemaFiles&) = delete;
    SchemaFiles& operator=(const SchemaFiles&) = delete;

    // A directory that `use` searches after the using schema's own one, after those added
    // before it.
    void AddDirectory(const std::string& directory) { m_directories.push_back(directory); }

    // The namespace of the file `path`, named as its file; read once, the same result after.
    const SchemaNamespace* Read(const std::string& path, SchemaError& error);

    // Schema files of used namespaces that were passed over for the library's own, since the
    // last call, each with its namespace.
    std::vector<std::pair<std::string, std::string>> TakeShadowedFiles();

private:
    const DeclaredNames* FindUsed(const std::string& name, const std::string& directory,
                                  SchemaError& error);
    const DeclaredNames* Compiled(const std::string& name);
    // NAME.schema in `first`, else in the directories in order; empty when there is none.
    std::string Locate(const std::string& name, const std::string& first) const;

    bool m_useCompiled;
    std::vector<std::string> m_directories;
    // By namespace name.
    std::map<std::string, std::unique_ptr<SchemaNamespace>> m_read;
    std::map<std::string, SchemaError> m_failed;
    std::map<std::string, std::unique_ptr<DeclaredNames>> m_compiled;
    // Namespaces being read, each using the next.
    std::vector<std::string> m_reading;
    std::set<std::string> m_shadowed;
    std::vector<std::pair<std::string, std::string>> m_newlyShadowed;
};

// The files NAME.schema of `directory`, sorted; false when it cannot be listed.
bool ListSchemaFiles(const std::string& directory, std::vector<std::string>& names);

}  // namespace RuntimeSchema
