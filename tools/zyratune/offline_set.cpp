// set: values of a binary changed in a copy of it, without a running camera. The modules are
// found along the mode path as a client finds them, the values stored in the loaded modules,
// and the binary written again from its description, so every other value, mode, entry and
// byte of opaque modules stays. A value held in memory by more than one module entry (a
// shared array or module) changes for all of them, and the tool lists each.
#include <algorithm>
#include <optional>
#include <set>

#include "binary_description.h"
#include "commands.h"
#include "description_builder.h"
#include "description_diff.h"
#include "field_assignment.h"
#include "module_at_path.h"
#include "parser/setmanager/parameter_module.h"
#include "tool_error.h"

namespace zyratune {
namespace {

// The modes of a path, each step read as ModeName writes it; unset for a step that is none.
std::vector<std::optional<ModeUnion>> Steps(const std::string& path) {
    std::vector<std::optional<ModeUnion>> steps;
    for (size_t start = 0; start <= path.size();) {
        const size_t end = std::min(path.find('|', start), path.size());
        const std::string step = path.substr(start, end - start);
        steps.push_back(ParseModeName(step.substr(0, step.find('#'))));
        start = end + 1;
    }
    return steps;
}

bool SameMode(const std::optional<ModeUnion>& a, const std::optional<ModeUnion>& b) {
    return a && b && a->mode == b->mode && a->subMode == b->subMode;
}

// Whether a mode of the description lies on the path that was given: a module found there is
// the one addressed, a module elsewhere shares its values.
bool OnPath(const std::string& mode, const std::vector<std::optional<ModeUnion>>& path) {
    const std::vector<std::optional<ModeUnion>> steps = Steps(mode);
    if (steps.size() > path.size() || mode.find('#') != std::string::npos) {
        return false;
    }
    for (size_t i = 0; i < steps.size(); ++i) {
        if (!SameMode(steps[i], path[i])) {
            return false;
        }
    }
    return true;
}

}  // namespace

int Set(const std::string& file, const std::string& modePath,
        const std::vector<std::string>& assignments, const std::string& output,
        std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    ParameterSetManager& manager = binary.Manager();
    const std::string shorthand = Shorthand(manager, file, modePath);
    const Json before = DescribeBinary(binary);
    const std::vector<std::optional<ModeUnion>> path = Steps(modePath);
    std::set<std::string> names;
    for (const std::string& assignment : assignments) {
        const size_t equals = assignment.find('=');
        const size_t dot = assignment.find('.');
        if (equals == std::string::npos || dot == std::string::npos || dot > equals) {
            throw ToolError("'" + assignment + "' is not MODULE.FIELD=VALUE", kExitUsage);
        }
        const std::string name = assignment.substr(0, dot);
        const std::string where = file + ": " + assignment.substr(0, equals);
        ModuleAtPath module(manager, shorthand, name);
        if (module.Module() == nullptr) {
            throw ToolError(file + ": no module " + name + " in mode " + modePath);
        }
        const std::optional<TypedModule> typed = module.Typed();
        if (!typed) {
            throw ToolError(file + ": " + BytesOnlyNote(binary, *module.Module(), modePath));
        }
        AssignField(*typed->type, typed->pTop, assignment.substr(dot + 1, equals - dot - 1),
                    assignment.substr(equals + 1), where);
        names.insert(module.Module()->Name);
    }
    const Json after = DescribeBinary(binary);
    for (const Difference& change : DiffDescriptions(before, after)) {
        const std::string name = change.module.substr(0, change.module.find('#'));
        const bool addressed = names.count(name) != 0 && OnPath(change.mode, path);
        out << DifferenceText(change) << (addressed ? "" : " (shares the changed value)") << "\n";
    }
    WriteFile(output, BuildBinary(after, file), out);
    return 0;
}

}  // namespace zyratune
