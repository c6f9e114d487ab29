// dump: every typed module of every mode, as "path module.field = value" lines or as the JSON
// description that build reads, so that two binaries can be compared with diff.
#include <iostream>

#include <nlohmann/json.hpp>

#include "binary_header.h"
#include "commands.h"
#include "json_codec.h"
#include "mode_walk.h"
#include "module_index.h"
#include "opened_binary.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/parameter_module.h"

namespace zyratune {
namespace {

using json = nlohmann::ordered_json;

// The values of a typed module, loading it first where the set manager has not.
std::optional<json> TypedValues(ParameterSetManager& manager, ParameterModule& module) {
    const CatalogueName* pName = FindCatalogueName(module.Name);
    if (pName == nullptr || pName->descriptor == nullptr) {
        return std::nullopt;
    }
    if (!module.Loaded && !module.LoadModule(manager.GetSymbolTable())) {
        return std::nullopt;
    }
    return DecodeStructure(*pName->descriptor().top, pName->top(&module));
}

json Description(OpenedBinary& binary, unsigned int& skipped) {
    ParameterSetManager& manager = binary.Manager();
    const BinaryHeader header = ReadBinaryHeader(binary.bytes);
    json description = {{"version", header.Version()},
                        {"tool", header.tool},
                        {"binaryTag", header.binaryTag},
                        {"modes", json::object()}};
    // The JSON object of each node on the path to the current one; a parent's children array
    // only grows behind the node being filled.
    std::vector<json*> path;
    ForEachMode(manager.GetRootMode(), [&](ModeEntry& mode, unsigned int depth) {
        path.resize(depth);
        json node = {{"mode", ModeName(mode)}};
        ModeEntry* pTarget = mode.LinkTarget();
        if (pTarget != &mode) {
            node["link"] = ModePath(*pTarget);
        }
        if (mode.Pinned && depth != 0 && mode.Mode.mode > 1) {
            node["pinned"] = true;
        }
        json modules = json::array();
        for (ParameterModule* pModule : LocalModules(mode)) {
            std::optional<json> values = TypedValues(manager, *pModule);
            if (values) {
                modules.push_back({{"name", pModule->Name}, {"values", std::move(*values)}});
            } else {
                ++skipped;
            }
        }
        if (!modules.empty()) {
            node["modules"] = std::move(modules);
        }
        if (depth == 0) {
            description["modes"] = std::move(node);
            path.push_back(&description["modes"]);
        } else {
            json& children = (*path.back())["children"];
            children.push_back(std::move(node));
            path.push_back(&children.back());
        }
    });
    return description;
}

void WriteLines(const std::string& prefix, const json& value, std::ostream& out) {
    if (value.is_object()) {
        for (auto it = value.begin(); it != value.end(); ++it) {
            WriteLines(prefix + "." + it.key(), it.value(), out);
        }
    } else if (value.is_array() && !value.empty() && value.front().is_structured()) {
        for (size_t i = 0; i < value.size(); ++i) {
            WriteLines(prefix + "[" + std::to_string(i) + "]", value[i], out);
        }
    } else {
        out << prefix << " = " << value.dump() << "\n";
    }
}

}  // namespace

int Dump(const std::string& file, bool asJson, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    unsigned int skipped = 0;
    if (asJson) {
        out << Description(binary, skipped).dump(2) << "\n";
    } else {
        ForEachMode(binary.Manager().GetRootMode(), [&](ModeEntry& mode, unsigned int) {
            const std::string path = ModePath(mode);
            for (ParameterModule* pModule : LocalModules(mode)) {
                std::optional<json> values = TypedValues(binary.Manager(), *pModule);
                if (values) {
                    WriteLines(path + " " + pModule->Name, *values, out);
                } else {
                    ++skipped;
                }
            }
        });
    }
    if (skipped != 0) {
        std::cerr << file << ": " << skipped << " opaque or unreadable modules left out\n";
    }
    return 0;
}

}  // namespace zyratune
