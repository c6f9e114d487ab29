#include "module_at_path.h"

#include <algorithm>

#include "binary_entries.h"
#include "parser/foundation/plist.h"
#include "parser/setmanager/mode_names.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/tuning_mode.h"
#include "tool_error.h"

namespace zyratune {

std::string Shorthand(ParameterSetManager& manager, const std::string& file,
                      const std::string& modePath) {
    // The set manager takes an unknown name for the first submode, and knows modes by name
    // only; a user means a mistake. A step without submode is given one, as the set manager
    // reads a bare mode number as a submode of Default.
    std::string named;
    for (size_t start = 0; start <= modePath.size();) {
        const size_t end = std::min(modePath.find('|', start), modePath.size());
        const std::string step = modePath.substr(start, end - start);
        const std::optional<ModeUnion> mode = ParseModeName(step);
        const char* pName = mode ? ModeNames::ModeName(mode->mode) : nullptr;
        if (pName == nullptr || step.compare(0, std::string(pName).size(), pName) != 0) {
            throw ToolError(file + ": no mode path '" + modePath + "'");
        }
        const bool bare = step.find('.') == std::string::npos && mode->mode != 0;
        named += (named.empty() ? "" : "|") + step + (bare ? ".0" : "");
        start = end + 1;
    }
    char shorthand[1024] = "";
    if (!manager.GetModeShorthand(named.c_str(), shorthand, sizeof(shorthand)) ||
        shorthand[0] == '\0') {
        throw ToolError(file + ": no mode path '" + modePath + "'");
    }
    return shorthand;
}

ModuleAtPath::ModuleAtPath(ParameterSetManager& manager, const std::string& shorthand,
                           const std::string& name)
    : m_manager(manager) {
    PList<TuningMode> branch;
    if (FindCatalogueName(name) != nullptr &&
        manager.GetModeBranchFromPath(shorthand.c_str(), branch)) {
        TuningMode* pSteps = branch.Count() != 0 ? &branch[0] : nullptr;
        m_pModule = manager.GetModule(name.c_str(), pSteps, branch.Count(), nullptr);
    }
}

ModuleAtPath::~ModuleAtPath() {
    if (m_pModule != nullptr) {
        m_manager.ReleaseModule(m_pModule);
    }
}

std::optional<TypedModule> ModuleAtPath::Typed() const {
    return m_pModule != nullptr ? TypedView(*m_pModule) : std::nullopt;
}

std::string BytesOnlyNote(const OpenedBinary& binary, const ParameterModule& module,
                          const std::string& modePath) {
    const CatalogueName* pName = FindCatalogueName(module.Name);
    const bool typed = pName != nullptr && ModuleFields(*pName) != nullptr;
    const BinaryHeader header = ReadBinaryHeader(binary.bytes);
    const size_t size =
        module.Data != nullptr
            ? LoadedBytes(ReadBinaryEntries(binary.bytes, header), *module.Data).size()
            : 0;
    const ParameterEngine::SchemaLayout* pLayout =
        binary.tool->Manager().GetSchemaLayout(module.Name);
    return std::string(module.Name) + " in " + modePath + " is " +
           (typed      ? std::string("a module that does not load with its schema")
            : pLayout ? std::string("opaque, its bytes do not fit the schema ") +
                            pLayout->schemaPath
                      : std::string("opaque (no schema)")) +
           ": " + std::to_string(size) + " bytes, shown by zyratune get --raw " + binary.path +
           " '" + modePath + "' " + module.Name;
}

}  // namespace zyratune
