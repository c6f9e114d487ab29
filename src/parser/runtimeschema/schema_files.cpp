#include "parser/runtimeschema/schema_files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "parser/runtimeschema/compiled_namespaces.h"

namespace RuntimeSchema {
namespace {

constexpr char kExtension[] = ".schema";
constexpr size_t kExtensionLength = sizeof(kExtension) - 1;
// Far above any real schema; a file beyond it is no schema.
constexpr std::streamoff kMaxFileSize = std::streamoff{4} << 20;

std::string DirectoryOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

std::string StemOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    return dot == std::string::npos || dot == 0 ? name : name.substr(0, dot);
}

bool IsRegularFile(const std::string& path) {
    struct stat info {};
    return stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode);
}

bool ReadText(const std::string& path, std::string& text, SchemaError& error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = {path, 0, "cannot be read"};
        return false;
    }
    file.seekg(0, std::ios::end);
    const std::streamoff size = file.tellg();
    if (size > kMaxFileSize) {
        error = {path, 0, "is larger than " + std::to_string(kMaxFileSize) + " bytes"};
        return false;
    }
    file.seekg(0, std::ios::beg);
    std::ostringstream contents;
    contents << file.rdbuf();
    if (file.bad()) {
        error = {path, 0, "cannot be read"};
        return false;
    }
    text = contents.str();
    return true;
}

std::string Joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) {
        text += (text.empty() ? "" : " -> ") + name;
    }
    return text;
}

}  // namespace

const SchemaNamespace* SchemaFiles::Read(const std::string& path, SchemaError& error) {
    const std::string stem = StemOf(path);
    auto read = m_read.find(stem);
    if (read != m_read.end()) {
        return read->second.get();
    }
    auto failed = m_failed.find(stem);
    if (failed != m_failed.end()) {
        error = failed->second;
        return nullptr;
    }
    if (std::find(m_reading.begin(), m_reading.end(), stem) != m_reading.end()) {
        error = {path, 1, "uses itself through " + Joined(m_reading)};
        return nullptr;
    }
    std::string text;
    std::unique_ptr<SchemaNamespace> result;
    if (ReadText(path, text, error)) {
        m_reading.push_back(stem);
        const std::string directory = DirectoryOf(path);
        result = ReadSchema(
            path, text,
            [&](const std::string& name, SchemaError& inner) {
                return FindUsed(name, directory, inner);
            },
            error);
        m_reading.pop_back();
    }
    if (result != nullptr && result->names.name != stem) {
        error = {path, 1,
                 "namespace '" + result->names.name + "' must match the file name '" + stem + "'"};
        result.reset();
    }
    if (result == nullptr) {
        m_failed.emplace(stem, error);
        return nullptr;
    }
    return m_read.emplace(stem, std::move(result)).first->second.get();
}

const DeclaredNames* SchemaFiles::FindUsed(const std::string& name, const std::string& directory,
                                           SchemaError& error) {
    const std::string path = Locate(name, directory);
    if (const DeclaredNames* pCompiled = m_useCompiled ? Compiled(name) : nullptr) {
        if (!path.empty() && m_shadowed.insert(path).second) {
            m_newlyShadowed.emplace_back(path, name);
        }
        return pCompiled;
    }
    if (path.empty()) {
        return nullptr;
    }
    const SchemaNamespace* pRead = Read(path, error);
    return pRead != nullptr ? &pRead->names : nullptr;
}

const DeclaredNames* SchemaFiles::Compiled(const std::string& name) {
    auto known = m_compiled.find(name);
    if (known != m_compiled.end()) {
        return known->second.get();
    }
    const CompiledNamespace* pCompiled = FindCompiledNamespace(name);
    if (pCompiled == nullptr) {
        return nullptr;
    }
    return m_compiled.emplace(name, DeclaredNamesOf(*pCompiled)).first->second.get();
}

std::string SchemaFiles::Locate(const std::string& name, const std::string& first) const {
    const std::string file = name + kExtension;
    if (IsRegularFile(first + "/" + file)) {
        return first + "/" + file;
    }
    for (const std::string& directory : m_directories) {
        if (IsRegularFile(directory + "/" + file)) {
            return directory + "/" + file;
        }
    }
    return std::string();
}

std::vector<std::pair<std::string, std::string>> SchemaFiles::TakeShadowedFiles() {
    std::vector<std::pair<std::string, std::string>> files;
    files.swap(m_newlyShadowed);
    return files;
}

bool ListSchemaFiles(const std::string& directory, std::vector<std::string>& names) {
    DIR* pDirectory = opendir(directory.c_str());
    if (pDirectory == nullptr) {
        return false;
    }
    while (const dirent* pEntry = readdir(pDirectory)) {
        const std::string name = pEntry->d_name;
        if (name.size() > kExtensionLength &&
            name.compare(name.size() - kExtensionLength, kExtensionLength, kExtension) == 0 &&
            IsRegularFile(directory + "/" + name)) {
            names.push_back(name);
        }
    }
    closedir(pDirectory);
    std::sort(names.begin(), names.end());
    return true;
}

}  // namespace RuntimeSchema
