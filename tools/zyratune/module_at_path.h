// A module as a client finds it: by name along a mode path, the deepest mode on the path that
// holds it answering and links followed. Shared by get, info and set.
#pragma once

#include <optional>
#include <string>

#include "module_index.h"
#include "opened_binary.h"

namespace zyratune {

// The mode path as the set manager's text interface takes it; ToolError naming the file for a
// step that names no mode.
std::string Shorthand(ParameterSetManager& manager, const std::string& file,
                      const std::string& modePath);

// The module of that name along the path, referenced until destruction.
class ModuleAtPath {
public:
    ModuleAtPath(ParameterSetManager& manager, const std::string& shorthand,
                 const std::string& name);
    ~ModuleAtPath();
    ModuleAtPath(const ModuleAtPath&) = delete;
    ModuleAtPath& operator=(const ModuleAtPath&) = delete;

    // Null when the path holds no module of that name.
    ParameterModule* Module() const { return m_pModule; }
    // Unset for a module the tool knows only as bytes (module_index.h).
    std::optional<TypedModule> Typed() const;

private:
    ParameterSetManager& m_manager;
    ParameterModule* m_pModule = nullptr;
};

// What get and info say of a module the tool knows only as bytes: why, their number, and how
// to see them.
std::string BytesOnlyNote(const OpenedBinary& binary, const ParameterModule& module,
                          const std::string& modePath);

}  // namespace zyratune
