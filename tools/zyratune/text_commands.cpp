// get and info: the set manager's text interface, asked the way the live tuning worker asks
// it, so that the tool shows what a tuning client would see. Typed classes outside the tuning
// family answer no reflection there; for them the tool walks the engine's descriptor tables
// itself and writes the same form. A module the tool knows only as bytes is said to be so,
// and get --raw shows the bytes of any module.
#include <algorithm>
#include <memory>
#include <vector>

#include "binary_entries.h"
#include "commands.h"
#include "json_values.h"
#include "module_at_path.h"
#include "parser/engine/reflection_engine.h"
#include "parser/foundation/plist.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "tool_error.h"

namespace zyratune {
namespace {

constexpr unsigned int kValueRoom = 1u << 20;
// Hex digits a line of get --raw: 32 bytes.
constexpr size_t kHexLine = 64;

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
        : m_name(moduleSpec.substr(0, moduleSpec.find('.'))),
          m_path(moduleSpec.size() > m_name.size() ? moduleSpec.substr(m_name.size() + 1) : ""),
          m_module(manager, shorthand, m_name) {
        if (std::optional<TypedModule> typed = m_module.Typed()) {
            m_pType = typed->type;
            m_pTop = typed->pTop;
        }
    }

    // The module found, null when none is; a module the tool knows only as bytes is found but
    // has no fields.
    ParameterModule* Module() const { return m_module.Module(); }
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
    std::string m_name;
    std::string m_path;
    ModuleAtPath m_module;
    const ParameterEngine::StructDescriptor* m_pType = nullptr;
    void* m_pTop = nullptr;
};

}  // namespace

int Get(const std::string& file, const std::string& modePath, const std::string& moduleSpec,
        const std::string& names, bool raw, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    ParameterSetManager& manager = binary.Manager();
    const std::string shorthand = Shorthand(manager, file, modePath);
    DescribedModule module(manager, shorthand, moduleSpec);
    if (raw) {
        if (module.Module() == nullptr || module.Module()->Data == nullptr) {
            throw ToolError(file + ": no module " + moduleSpec + " in mode " + modePath);
        }
        const std::string hex = ToHex(LoadedBytes(
            ReadBinaryEntries(binary.bytes, ReadBinaryHeader(binary.bytes)),
            *module.Module()->Data));
        for (size_t at = 0; at < hex.size(); at += kHexLine) {
            out << hex.substr(at, kHexLine) << '\n';
        }
        return 0;
    }
    if (module.Module() != nullptr && !module.Found()) {
        throw ToolError(file + ": " + BytesOnlyNote(binary, *module.Module(), modePath));
    }
    std::unique_ptr<char[]> value(new char[kValueRoom]());
    std::string text;
    if (manager.GetValue(shorthand.c_str(), moduleSpec.c_str(),
                         names.empty() ? nullptr : names.c_str(), value.get(), kValueRoom)) {
        text = value.get();
    } else if (module.Found()) {
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
    DescribedModule module(manager, shorthand, moduleSpec);
    if (!moduleSpec.empty() && module.Module() != nullptr && !module.Found()) {
        out << BytesOnlyNote(binary, *module.Module(), modePath) << '\n';
        return 0;
    }
    PList<ParameterParserInfo> records;
    if (!manager.GetInfo(shorthand.c_str(), moduleSpec.empty() ? nullptr : moduleSpec.c_str(),
                         records) ||
        records.Count() == 0) {
        while (records.Remove(0)) {
        }
        if (module.Found()) {
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
