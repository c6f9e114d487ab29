// build: a tuning binary from a JSON description, written through the project's binary writer.
// The description names the format version, the header texts and a tree of modes; each mode
// holds typed modules by catalogue name with their values (see json_codec.h). Modules of one
// name with equal values share one copy where the format version has duplicate ids.
#include <cstdio>
#include <fstream>
#include <map>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "binwriter/tuning_binary_builder.h"
#include "commands.h"
#include "json_codec.h"
#include "module_index.h"
#include "opened_binary.h"
#include "parser/setmanager/module_data.h"
#include "tool_error.h"

namespace zyratune {
namespace {

using json = nlohmann::ordered_json;

// First version whose entries carry a duplicate id.
constexpr binwriter::Version kFirstSharingVersion{3, 0, 2};

binwriter::Version ParseVersion(const std::string& text, const std::string& where) {
    unsigned int major = 0, minor = 0, patch = 0;
    char tail = 0;
    if (std::sscanf(text.c_str(), "%u.%u.%u%c", &major, &minor, &patch, &tail) != 3 ||
        major > 0xFFFF || minor > 0xFFFF) {
        throw ToolError(where + ": version '" + text + "' is not MAJOR.MINOR.PATCH");
    }
    return {static_cast<uint16_t>(major), static_cast<uint16_t>(minor), patch};
}

std::string Text(const json& object, const char* pKey, const std::string& fallback,
                 const std::string& where) {
    if (!object.contains(pKey)) {
        return fallback;
    }
    if (!object[pKey].is_string()) {
        throw ToolError(where + ": " + pKey + " must be a string");
    }
    return object[pKey].get<std::string>();
}

class DescriptionBuilder {
public:
    DescriptionBuilder(const json& description, const std::string& input)
        : m_input(input),
          m_builder(ParseVersion(Text(description, "version", "5.0.0", input), input)) {
        m_builder.SetTool(Text(description, "tool", "zyratune", input));
        m_builder.SetBinaryTag(Text(description, "binaryTag", "", input));
        if (!description.contains("modes") || !description["modes"].is_object()) {
            throw ToolError(input + ": modes must be an object, the root mode");
        }
        Flatten(description["modes"]);
        for (const Node& node : m_nodes) {
            AddMode(node);
        }
        for (size_t id = 0; id < m_nodes.size(); ++id) {
            AddModules(*m_nodes[id].pMode, static_cast<uint32_t>(id), m_nodes[id].path);
        }
    }

    std::vector<uint8_t> Build() const { return m_builder.Build(); }

private:
    struct Node {
        const json* pMode;
        std::optional<uint32_t> parent;
        std::string path;
    };

    // Depth first in file order, so that every parent precedes its children.
    void Flatten(const json& root) {
        std::vector<std::pair<const json*, std::optional<uint32_t>>> pending{{&root, {}}};
        while (!pending.empty()) {
            auto [pMode, parent] = pending.back();
            pending.pop_back();
            if (!pMode->is_object()) {
                throw ToolError(m_input + ": a mode must be an object");
            }
            const std::string name = Text(*pMode, "mode", "", m_input);
            const std::string path = parent ? m_nodes[*parent].path + "|" + name : name;
            const uint32_t id = static_cast<uint32_t>(m_nodes.size());
            if (!m_ids.emplace(path, id).second) {
                throw ToolError(m_input + ": mode " + path + " given twice");
            }
            m_nodes.push_back({pMode, parent, path});
            if (pMode->contains("children")) {
                const json& children = (*pMode)["children"];
                if (!children.is_array()) {
                    throw ToolError(m_input + ": children of " + path + " must be an array");
                }
                for (auto it = children.rbegin(); it != children.rend(); ++it) {
                    pending.emplace_back(&*it, id);
                }
            }
        }
    }

    void AddMode(const Node& node) {
        const std::string where = m_input + ": mode " + node.path;
        const std::string name = Text(*node.pMode, "mode", "", m_input);
        const std::optional<ModeUnion> mode = ParseModeName(name);
        if (!mode) {
            throw ToolError(where + ": unknown mode '" + name + "'");
        }
        binwriter::ModeRecord record;
        record.mode = mode->mode;
        record.subMode = mode->subMode;
        record.parent = node.parent;
        const std::string link = Text(*node.pMode, "link", "", where);
        if (!link.empty()) {
            auto target = m_ids.find(link);
            if (target == m_ids.end()) {
                throw ToolError(where + ": link to unknown mode " + link);
            }
            record.link = target->second;
        }
        if (node.pMode->contains("pinned") && !(*node.pMode)["pinned"].is_boolean()) {
            throw ToolError(where + ": pinned must be true or false");
        }
        record.pinned = node.pMode->value("pinned", false);
        m_builder.AddMode(record);
    }

    void AddModules(const json& mode, uint32_t modeId, const std::string& path) {
        if (!mode.contains("modules")) {
            return;
        }
        if (!mode["modules"].is_array()) {
            throw ToolError(m_input + ": modules of " + path + " must be an array");
        }
        for (const json& module : mode["modules"]) {
            const std::string name = module.is_object() ? Text(module, "name", "", m_input) : "";
            const std::string where = m_input + ": " + path + ": " + name;
            const CatalogueName* pName = FindCatalogueName(name);
            if (pName == nullptr) {
                throw ToolError(where + ": no such module in the catalogue");
            }
            if (pName->descriptor == nullptr) {
                throw ToolError(where + ": module has no schema, so no values can be given");
            }
            if (!m_manager.empty() && m_manager != pName->manager) {
                throw ToolError(where + ": belongs to " + pName->manager + ", the binary to " +
                                m_manager);
            }
            m_manager = pName->manager;
            const ParameterEngine::ModuleDescriptor& descriptor = pName->descriptor();
            const json values = module.contains("values") ? module["values"] : json::object();
            AddModule(name, descriptor, values, modeId, where);
        }
    }

    void AddModule(const std::string& name, const ParameterEngine::ModuleDescriptor& descriptor,
                   const json& values, uint32_t modeId, const std::string& where) {
        char type[ModuleData::kTypeLength + 1];
        ModuleData::GetType(type, name.c_str());
        const binwriter::Version version{descriptor.major, descriptor.minor, descriptor.patch};
        const std::string key = std::string(type) + "\n" + values.dump();
        auto shared = m_stored.find(key);
        if (shared != m_stored.end() && m_builder.FormatVersion() >= kFirstSharingVersion) {
            binwriter::SymbolEntry entry{type, version, modeId, shared->second.second, {}, {}};
            entry.duplicateId = shared->second.first;
            m_builder.AddSymbol(std::move(entry));
            return;
        }
        std::vector<uint8_t> bytes = EncodeStructure(*descriptor.top, values, m_builder, where);
        const uint32_t id = m_builder.AddModule(type, version, modeId, bytes);
        m_stored.emplace(key, std::make_pair(id, std::move(bytes)));
    }

    std::string m_input;
    binwriter::TuningBinaryBuilder m_builder;
    std::vector<Node> m_nodes;
    std::map<std::string, uint32_t> m_ids;
    std::string m_manager;
    // Values already written, by short name and values text: entry id and bytes.
    std::map<std::string, std::pair<uint32_t, std::vector<uint8_t>>> m_stored;
};

// The JSON library's messages start with its own exception name in brackets.
std::string WithoutPrefix(const std::string& message) {
    const size_t bracket = message.find("] ");
    return bracket == std::string::npos ? message : message.substr(bracket + 2);
}

json ParseDescription(const std::string& input) {
    const std::vector<uint8_t> bytes = ReadFile(input);
    try {
        return json::parse(bytes.begin(), bytes.end());
    } catch (const json::parse_error& error) {
        throw ToolError(input + ": " + WithoutPrefix(error.what()));
    }
}

}  // namespace

int Build(const std::string& input, const std::string& output, std::ostream& out) {
    const json description = ParseDescription(input);
    if (!description.is_object()) {
        throw ToolError(input + ": the description must be a JSON object");
    }
    std::vector<uint8_t> bytes;
    try {
        bytes = DescriptionBuilder(description, input).Build();
    } catch (const json::exception& error) {
        throw ToolError(input + ": " + WithoutPrefix(error.what()));
    }
    std::ofstream file(output, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw ToolError(output + ": cannot write file");
    }
    out << "wrote " << output << " (" << bytes.size() << " bytes)\n";
    return 0;
}

}  // namespace zyratune
