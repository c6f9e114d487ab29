// get and info: the set manager's text interface, asked the way the live tuning worker asks
// it, so that the tool shows what a tuning client would see. Typed classes outside the tuning
// family answer no reflection there; for them the tool walks the engine's descriptor tables
// itself and writes the same form.
#include <algorithm>
#include <memory>
#include <vector>

#include "commands.h"
#include "module_index.h"
#include "parser/engine/reflection_engine.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/tuning_mode.h"
#include "opened_binary.h"
#include "parser/foundation/plist.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "tool_error.h"

namespace zyratune {
namespace {

constexpr unsigned int kValueRoom = 1u << 20;
constexpr unsigned int kShorthandRoom = 1024;

std::string Shorthand(ParameterSetManager& manager, const std::string& file,
                      const std::string& modePath) {
    // The set manager takes an unknown name for the first submode; a user means a mistake.
    for (size_t start = 0; start <= modePath.size();) {
        const size_t end = std::min(modePath.find('|', start), modePath.size());
        if (!ParseModeName(modePath.substr(start, end - start))) {
            throw ToolError(file + ": no mode path '" + modePath + "'");
        }
        start = end + 1;
    }
    char shorthand[kShorthandRoom] = "";
    if (!manager.GetModeShorthand(modePath.c_str(), shorthand, sizeof(shorthand)) ||
        shorthand[0] == '\0') {
        throw ToolError(file + ": no mode path '" + modePath + "'");
    }
    return shorthand;
}

// "a=1;b=2" one assignment a line.
void WriteLines(const std::string& text, std::ostream& out) {
    size_t start = 0;
    while (start <= text.size()) {
        size_t end = text.find(';', start);
        out << text.substr(start, end == std::string::npos ? std::string::npos : end - start)
            << '\n';
        if (end == std::string::npos) break;
        start = end + 1;
    }
}

// The typed module that `moduleSpec` names along the mode path, held until destruction.
class DescribedModule {
public:
    DescribedModule(ParameterSetManager& manager, const std::string& shorthand,
                    const std::string& moduleSpec)
        : m_manager(manager),
          m_name(moduleSpec.substr(0, moduleSpec.find('.'))),
          m_path(moduleSpec.size() > m_name.size() ? moduleSpec.substr(m_name.size() + 1) : "") {
        const CatalogueName* pName = FindCatalogueName(m_name);
        PList<TuningMode> branch;
        if (pName == nullptr || pName->descriptor == nullptr ||
            !manager.GetModeBranchFromPath(shorthand.c_str(), branch)) {
            return;
        }
        TuningMode* pSteps = branch.Count() != 0 ? &branch[0] : nullptr;
        m_pModule = manager.GetModule(m_name.c_str(), pSteps, branch.Count(), nullptr);
        if (m_pModule != nullptr) {
            m_pType = pName->descriptor().top;
            m_pTop = pName->top(m_pModule);
        }
    }
    ~DescribedModule() {
        if (m_pModule != nullptr) m_manager.ReleaseModule(m_pModule);
    }
    DescribedModule(const DescribedModule&) = delete;
    DescribedModule& operator=(const DescribedModule&) = delete;

    bool Found() const { return m_pTop != nullptr; }

    bool Info(const std::string& path, PList<ParameterParserInfo>& records) {
        return ParameterEngine::GetInfo(*m_pType, m_pTop, path.c_str(), records);
    }

    // "name=value" joined by ';': the named fields below the module path, or every field
    // with a value there when no names are given.
    std::string Values(const std::string& names) {
        std::vector<std::string> fields;
        if (!names.empty()) {
            for (size_t start = 0; start <= names.size();) {
                size_t end = std::min(names.find(',', start), names.size());
                fields.push_back(names.substr(start, end - start));
                start = end + 1;
            }
        } else if (!m_path.empty()) {
            fields.push_back("");
        } else {
            PList<ParameterParserInfo> records;
            Info("", records);
            for (uint32_t i = 0; i < records.Count(); ++i) {
                if (records[i].Name != nullptr) fields.push_back(records[i].Name);
            }
        }
        std::string text;
        std::unique_ptr<char[]> value(new char[kValueRoom]());
        for (const std::string& field : fields) {
            const std::string path =
                m_path.empty() ? field : field.empty() ? m_path : m_path + "." + field;
            value[0] = '\0';
            if (ParameterEngine::GetValue(*m_pType, m_pTop, path.c_str(), value.get(),
                                          kValueRoom)) {
                const std::string label = field.empty() ? path.substr(path.rfind('.') + 1) : field;
                text += (text.empty() ? "" : ";") + label + "=" + value.get();
            }
        }
        return text;
    }

    const std::string& Path() const { return m_path; }

private:
    ParameterSetManager& m_manager;
    std::string m_name;
    std::string m_path;
    ParameterModule* m_pModule = nullptr;
    const ParameterEngine::StructDescriptor* m_pType = nullptr;
    void* m_pTop = nullptr;
};

}  // namespace

int Get(const std::string& file, const std::string& modePath, const std::string& moduleSpec,
        const std::string& names, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    ParameterSetManager& manager = binary.Manager();
    std::unique_ptr<char[]> value(new char[kValueRoom]());
    const std::string shorthand = Shorthand(manager, file, modePath);
    std::string text;
    if (manager.GetValue(shorthand.c_str(), moduleSpec.c_str(),
                         names.empty() ? nullptr : names.c_str(), value.get(), kValueRoom)) {
        text = value.get();
    } else if (DescribedModule module(manager, shorthand, moduleSpec); module.Found()) {
        text = module.Values(names);
    }
    if (text.empty()) {
        throw ToolError(file + ": no value " + moduleSpec + (names.empty() ? "" : " " + names) +
                        " in mode " + modePath);
    }
    WriteLines(text, out);
    return 0;
}

int Info(const std::string& file, const std::string& modePath, const std::string& moduleSpec,
         std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    ParameterSetManager& manager = binary.Manager();
    const std::string shorthand = Shorthand(manager, file, modePath);
    PList<ParameterParserInfo> records;
    if (!manager.GetInfo(shorthand.c_str(), moduleSpec.empty() ? nullptr : moduleSpec.c_str(),
                         records) ||
        records.Count() == 0) {
        while (records.Remove(0)) {
        }
        if (DescribedModule module(manager, shorthand, moduleSpec); module.Found()) {
            module.Info(module.Path(), records);
        }
    }
    if (records.Count() == 0) {
        throw ToolError(file + ": no " + (moduleSpec.empty() ? "modules" : moduleSpec) +
                        " in mode " +
                        modePath);
    }
    for (uint32_t i = 0; i < records.Count(); ++i) {
        const ParameterParserInfo& record = records[i];
        out << (record.Name != nullptr ? record.Name : "");
        if (record.Value[0] != '\0') {
            out << '=' << record.Value;
        }
        out << ',' << (record.TypeName != nullptr ? record.TypeName : "");
        if (record.IsArray || record.IsOptional) {
            out << ',' << record.Count;
        }
        out << '\n';
    }
    return 0;
}

}  // namespace zyratune
