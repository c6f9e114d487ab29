// set: values of a binary changed in a copy of it, without a running camera. The modules are
// found along the mode path as a client finds them, the values stored in the loaded modules,
// and the binary written again from its description, so every other value, mode, entry and
// byte of opaque modules stays. A value held in memory by more than one module entry (a
// shared array or module) changes for all of them, and the tool lists each. An opaque module
// that a run-time schema lays out is changed in the values of that schema and written from
// them; the others keep their bytes.
#include <algorithm>
#include <map>
#include <optional>
#include <set>

#include "binary_description.h"
#include "commands.h"
#include "described_modes.h"
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

// The mode whose module of that name a client's lookup along `path` finds: the deepest one on
// the path that holds one, or borrows one through its link. Empty when none does.
std::string FoundIn(const Json& description, const std::vector<std::optional<ModeUnion>>& path,
                    const std::string& name) {
    std::map<std::string, const Json*> modes;
    for (const DescribedMode& mode : DescribedModes(description, "")) {
        modes[mode.path] = &description[mode.pointer];
    }
    for (size_t length = path.size(); length > 0; --length) {
        for (const auto& [modePath, pMode] : modes) {
            const std::vector<std::optional<ModeUnion>> steps = Steps(modePath);
            if (modePath.find('#') != std::string::npos || steps.size() != length ||
                !std::equal(steps.begin(), steps.end(), path.begin(), SameMode)) {
                continue;
            }
            // A link chain longer than the modes are many is a ring.
            std::string at = modePath;
            const Json* pAt = pMode;
            for (size_t hops = 0; hops <= modes.size() && pAt->contains("link"); ++hops) {
                auto target = modes.find((*pAt)["link"].get<std::string>());
                if (target == modes.end()) {
                    break;
                }
                at = target->first;
                pAt = target->second;
            }
            for (const Json& module : pAt->value("modules", Json::array())) {
                if (module.value("name", "") == name) {
                    return at;
                }
            }
        }
    }
    return "";
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
    // Where the module of each assignment was found, and its name.
    std::set<std::pair<std::string, std::string>> addressed;
    std::set<const ParameterModule*> rewritten;
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
        addressed.emplace(FoundIn(before, path, module.Module()->Name), module.Module()->Name);
        if (typed->runTime) {
            rewritten.insert(module.Module());
        }
    }
    const Json after = DescribeBinary(binary, rewritten);
    for (const Difference& change : DiffDescriptions(before, after)) {
        const bool found = addressed.count({change.mode, change.module}) != 0;
        out << DifferenceText(change) << (found ? "" : " (shares the changed value)") << "\n";
    }
    const RunTimeFields runTimeFields = [&](const std::string& name) {
        const ParameterEngine::SchemaLayout* pLayout = manager.GetSchemaLayout(name.c_str());
        return pLayout != nullptr ? pLayout->module->top : nullptr;
    };
    WriteFile(output, BuildBinary(after, file, runTimeFields), out);
    return 0;
}

}  // namespace zyratune
