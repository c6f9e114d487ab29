#include "described_modes.h"

#include <map>
#include <utility>

#include "tool_error.h"

namespace zyratune {
namespace {

class ModeLister {
public:
    ModeLister(const Json& description, const std::string& input)
        : m_description(description), m_input(input) {}

    std::vector<DescribedMode> List() {
        if (!m_description.contains("modes") || !m_description["modes"].is_object()) {
            throw ToolError(m_input + "modes: must be an object, the root mode");
        }
        Tree(Json::json_pointer("/modes"), "modes");
        if (m_description.contains("detachedModes")) {
            const Json& detached = m_description["detachedModes"];
            if (!detached.is_array()) {
                throw ToolError(m_input + "detachedModes: must be an array of modes");
            }
            for (size_t i = 0; i < detached.size(); ++i) {
                Tree(Json::json_pointer("/detachedModes/" + std::to_string(i)),
                     "detachedModes[" + std::to_string(i) + "]");
            }
        }
        return std::move(m_modes);
    }

private:
    // Depth first in file order, with an explicit stack: a binary may nest as deep as it likes.
    void Tree(const Json::json_pointer& root, const std::string& rootWhere) {
        std::vector<std::pair<DescribedMode, std::string>> pending{{{"", root, rootWhere, {}}, ""}};
        while (!pending.empty()) {
            auto [mode, parentPath] = std::move(pending.back());
            pending.pop_back();
            const Json& object = m_description[mode.pointer];
            if (!object.is_object()) {
                throw ToolError(m_input + mode.where + ": a mode must be an object");
            }
            const Json name = object.value("mode", Json(""));
            if (!name.is_string()) {
                throw ToolError(m_input + mode.where + ".mode: must be a string");
            }
            const std::string path =
                (parentPath.empty() ? "" : parentPath + "|") + name.get<std::string>();
            mode.path = OccurrencePath(path, m_seen[path]++);
            const size_t index = m_modes.size();
            m_modes.push_back(mode);
            if (!object.contains("children")) {
                continue;
            }
            if (!object["children"].is_array()) {
                throw ToolError(m_input + mode.where + ".children: must be an array");
            }
            for (size_t i = object["children"].size(); i-- > 0;) {
                DescribedMode child{"", mode.pointer / "children" / i,
                                    mode.where + ".children[" + std::to_string(i) + "]", index};
                pending.emplace_back(std::move(child), m_modes[index].path);
            }
        }
    }

    const Json& m_description;
    std::string m_input;
    std::vector<DescribedMode> m_modes;
    std::map<std::string, size_t> m_seen;
};

}  // namespace

std::vector<DescribedMode> DescribedModes(const Json& description, const std::string& input) {
    return ModeLister(description, input.empty() ? input : input + ": ").List();
}

std::string OccurrencePath(const std::string& path, size_t occurrence) {
    return occurrence == 0 ? path : path + "#" + std::to_string(occurrence + 1);
}

}  // namespace zyratune
