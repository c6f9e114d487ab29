#include "parser/runtimeschema/runtime_schemas.h"

#include <new>

#include "parser/foundation/parameter_logging.h"
#include "parser/runtimeschema/compiled_namespaces.h"

namespace RuntimeSchema {
namespace {

constexpr char kExtension[] = ".schema";

void WarnCompiled(IParameterLoggingAPI* pLogger, const std::string& file,
                  const std::string& nameSpace) {
    ParameterLogging::Write(pLogger, ParameterLogging::Warning, __FILE__, __LINE__,
                            "%s: namespace %s is compiled into the library; the schema is "
                            "ignored\n",
                            file.c_str(), nameSpace.c_str());
}

}  // namespace

RuntimeSchemas::RuntimeSchemas(std::vector<CatalogueClass> catalogue, std::string family)
    : m_catalogue(std::move(catalogue)), m_family(std::move(family)) {}

bool RuntimeSchemas::AddDirectory(const std::string& directory, IParameterLoggingAPI* pLogger,
                                  std::string& error) {
    std::vector<std::string> files;
    bool good = true;
    try {
        if (!ListSchemaFiles(directory, files)) {
            error = "Cannot read schema directory " + directory;
            ParameterLogging::Write(pLogger, ParameterLogging::Error, __FILE__, __LINE__, "%s\n",
                                    error.c_str());
            return false;
        }
        m_files.AddDirectory(directory);
        for (const std::string& file : files) {
            const std::string nameSpace = file.substr(0, file.size() - (sizeof(kExtension) - 1));
            good = Take(nameSpace, directory + "/" + file, pLogger, error) && good;
        }
    } catch (const std::bad_alloc&) {
        error = "Out of memory reading schema directory " + directory;
        ParameterLogging::Write(pLogger, ParameterLogging::Error, __FILE__, __LINE__, "%s\n",
                                error.c_str());
        return false;
    }
    return good;
}

bool RuntimeSchemas::Take(const std::string& nameSpace, const std::string& file,
                          IParameterLoggingAPI* pLogger, std::string& error) {
    std::vector<const CatalogueClass*> classes;
    for (const CatalogueClass& entry : m_catalogue) {
        if (entry.nameSpace == nameSpace) {
            classes.push_back(&entry);
        }
    }
    // Schemas of other set managers' namespaces, or shared ones, are read when used.
    if (classes.empty()) {
        return true;
    }
    if (FindCompiledNamespace(nameSpace) != nullptr) {
        WarnCompiled(pLogger, file, nameSpace);
        return true;
    }
    auto earlier = m_namespaceFiles.find(nameSpace);
    if (earlier != m_namespaceFiles.end()) {
        ParameterLogging::Write(pLogger, ParameterLogging::Warning, __FILE__, __LINE__,
                                "%s: namespace %s was read from %s; the schema is ignored\n",
                                file.c_str(), nameSpace.c_str(), earlier->second.c_str());
        return true;
    }
    const std::string& path = m_namespaceFiles.emplace(nameSpace, file).first->second;
    SchemaError problem;
    const SchemaNamespace* pSchema = m_files.Read(path, problem);
    for (const auto& shadowed : m_files.TakeShadowedFiles()) {
        WarnCompiled(pLogger, shadowed.first, shadowed.second);
    }
    if (pSchema == nullptr || !CheckAgainstCatalogue(*pSchema, classes, m_family, problem)) {
        error = problem.Text();
        ParameterLogging::Write(pLogger, ParameterLogging::Error, __FILE__, __LINE__, "%s\n",
                                error.c_str());
        return false;
    }
    for (const SchemaModule& module : pSchema->modules) {
        const ParameterEngine::ModuleDescriptor& descriptor = *module.descriptor;
        for (uint32_t i = 0; i < descriptor.nameCount; ++i) {
            m_layouts[descriptor.names[i]] = {&descriptor, path.c_str()};
        }
    }
    return true;
}

const ParameterEngine::SchemaLayout* RuntimeSchemas::Find(const char* pName) const {
    if (pName == nullptr || m_layouts.empty()) {
        return nullptr;
    }
    auto found = m_layouts.find(pName);
    return found != m_layouts.end() ? &found->second : nullptr;
}

}  // namespace RuntimeSchema
