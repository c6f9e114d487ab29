#include "description_builder.h"

#include <cstdio>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <utility>

#include "binwriter/format_rules.h"
#include "binary_header.h"
#include "binwriter/tuning_binary_builder.h"
#include "described_modes.h"
#include "json_codec.h"
#include "module_index.h"
#include "opened_binary.h"
#include "parser/setmanager/module_data.h"
#include "tool_error.h"

namespace zyratune {
namespace {

// Raw entries keep their ids, and every id below them takes an entry: a bound keeps a typing
// slip from asking for gigabytes.
constexpr uint32_t kMaxEntryId = 1u << 20;

std::string VersionText(const binwriter::Version& version) {
    return zyratune::VersionText(version.major, version.minor, version.patch);
}

class DescriptionBuilder {
public:
    DescriptionBuilder(const Json& description, const std::string& input,
                       const RunTimeFields& runTimeFields)
        : m_description(description),
          m_runTimeFields(runTimeFields),
          m_file(input),
          m_input(input + ": "),
          m_builder(HeaderVersion()) {}

    std::vector<uint8_t> Build() {
        if (!m_description.is_object()) {
            throw ToolError(m_input + "the description must be a JSON object");
        }
        OnlyKeys(m_description, "", {"version", "alignment", "tool", "binaryTag", "flags", "modes",
                                     "detachedModes"});
        Header();
        m_builder.SetShareEqualValues(true);
        m_modes = DescribedModes(m_description, m_file);
        for (size_t i = 0; i < m_modes.size(); ++i) {
            m_ids.emplace(m_modes[i].path, static_cast<uint32_t>(i));
        }
        for (const DescribedMode& mode : m_modes) {
            AddMode(mode);
        }
        // Raw entries and module entries with ids take them before any other entry can.
        ForEachModule([&](const Json& module, const std::string& where, uint32_t) {
            if (module.contains("entries")) {
                RawEntries(module["entries"], where + ".entries");
            }
            if (module.contains("id")) {
                ModuleId(module["id"], where + ".id");
            }
        });
        ForEachModule([&](const Json& module, const std::string& where, uint32_t modeId) {
            AddModule(module, where, modeId);
        });
        try {
            return m_builder.Build();
        } catch (const std::length_error& error) {
            throw ToolError(m_input + error.what());
        }
    }

private:
    [[noreturn]] void Fail(const std::string& where, const std::string& problem) const {
        throw ToolError(m_input + where + ": " + problem);
    }

    static std::string Join(const std::string& where, const std::string& key) {
        return where.empty() ? key : where + "." + key;
    }

    void OnlyKeys(const Json& object, const std::string& where,
                  std::initializer_list<const char*> keys) const {
        for (auto it = object.begin(); it != object.end(); ++it) {
            bool known = false;
            for (const char* pKey : keys) {
                known = known || it.key() == pKey;
            }
            if (!known) {
                Fail(Join(where, it.key()), "no such key here");
            }
        }
    }

    std::string Text(const Json& object, const char* pKey, const std::string& fallback,
                     const std::string& where) const {
        return object.contains(pKey) ? JsonText(object[pKey], m_input + Join(where, pKey))
                                     : fallback;
    }

    uint64_t Unsigned(const Json& value, const std::string& where, uint64_t limit) const {
        if (!value.is_number_unsigned() || value.get<uint64_t>() > limit) {
            Fail(where, "must be an integer from 0 to " + std::to_string(limit));
        }
        return value.get<uint64_t>();
    }

    binwriter::Version HeaderVersion() const {
        const std::string text =
            m_description.is_object() ? Text(m_description, "version", "5.0.0", "") : "5.0.0";
        unsigned int major = 0, minor = 0, patch = 0;
        char tail = 0;
        if (std::sscanf(text.c_str(), "%u.%u.%u%c", &major, &minor, &patch, &tail) != 3 ||
            major > 0xFFFF || minor > 0xFFFF) {
            Fail("version", "'" + text + "' is not MAJOR.MINOR.PATCH");
        }
        const binwriter::Version version{static_cast<uint16_t>(major),
                                         static_cast<uint16_t>(minor), patch};
        if (version > binwriter::kHighestVersion) {
            Fail("version", text + " is above " + VersionText(binwriter::kHighestVersion) +
                                ", the highest the library reads");
        }
        return version;
    }

    void Header() {
        const binwriter::Version& version = m_builder.FormatVersion();
        const unsigned int alignment = m_builder.Alignment();
        if (m_description.contains("alignment") &&
            Unsigned(m_description["alignment"], "alignment", 8) != alignment) {
            Fail("alignment", "version " + VersionText(version) + " lays values out with " +
                                  std::to_string(alignment));
        }
        const bool hasTexts = binwriter::HasToolAndBinaryTag(version);
        for (const auto& [pKey, width] : {std::pair<const char*, size_t>{"tool", 48},
                                          std::pair<const char*, size_t>{"binaryTag", 64}}) {
            if (m_description.contains(pKey) && !hasTexts) {
                Fail(pKey, "version " + VersionText(version) + " has no such field");
            }
            if (Text(m_description, pKey, "", "").size() > width) {
                Fail(pKey, "longer than its field of " + std::to_string(width) + " bytes");
            }
        }
        m_builder.SetTool(Text(m_description, "tool", "zyratune", ""));
        m_builder.SetBinaryTag(Text(m_description, "binaryTag", "", ""));
        if (m_description.contains("flags")) {
            if (!binwriter::HasFlags(version)) {
                Fail("flags", "version " + VersionText(version) + " has no such field");
            }
            const uint64_t flags = Unsigned(m_description["flags"], "flags", UINT64_MAX);
            if ((flags & binwriter::kCompressedFlag) != 0) {
                Fail("flags", "bit 1 marks compressed sections, which the library refuses");
            }
            m_builder.SetFlags(flags);
        }
    }

    void AddMode(const DescribedMode& described) {
        const Json& mode = m_description[described.pointer];
        const std::string& where = described.where;
        OnlyKeys(mode, where, {"mode", "link", "pinned", "modules", "children"});
        const binwriter::Version& version = m_builder.FormatVersion();
        const std::string name = Text(mode, "mode", "", where);
        const std::optional<ModeUnion> parsed = ParseModeName(name);
        if (!parsed) {
            Fail(where + ".mode", "unknown mode '" + name + "'");
        }
        binwriter::ModeRecord record;
        record.mode = parsed->mode;
        record.subMode = parsed->subMode;
        if (described.parent) {
            record.parent = static_cast<uint32_t>(*described.parent);
            const binwriter::ModeRecord& parent = m_records[*described.parent];
            if (parent.mode == record.mode && parent.subMode == record.subMode) {
                Fail(where + ".mode", "readers take a mode under the same mode for that mode");
            }
        }
        if (mode.contains("link")) {
            const std::string link = Text(mode, "link", "", where);
            auto target = m_ids.find(link);
            if (!binwriter::HasModeLinks(version)) {
                Fail(where + ".link", "version " + VersionText(version) + " has no links");
            }
            if (target == m_ids.end()) {
                Fail(where + ".link", "no mode " + link);
            }
            record.link = target->second;
        }
        if (mode.contains("pinned")) {
            if (!mode["pinned"].is_boolean()) {
                Fail(where + ".pinned", "must be true or false");
            }
            record.pinned = mode["pinned"].get<bool>();
            if (record.pinned && !binwriter::HasModePins(version)) {
                Fail(where + ".pinned", "version " + VersionText(version) + " has no pin flags");
            }
        }
        m_records.push_back(record);
        m_builder.AddMode(record);
    }

    template <typename Visit>
    void ForEachModule(Visit visit) {
        for (size_t id = 0; id < m_modes.size(); ++id) {
            const Json& mode = m_description[m_modes[id].pointer];
            if (!mode.contains("modules")) {
                continue;
            }
            const std::string where = m_modes[id].where + ".modules";
            if (!mode["modules"].is_array()) {
                Fail(where, "must be an array");
            }
            for (size_t i = 0; i < mode["modules"].size(); ++i) {
                const std::string at = where + "[" + std::to_string(i) + "]";
                if (!mode["modules"][i].is_object()) {
                    Fail(at, "a module must be an object");
                }
                visit(mode["modules"][i], at, static_cast<uint32_t>(id));
            }
        }
    }

    void RawEntries(const Json& entries, const std::string& where) {
        if (!entries.is_array()) {
            Fail(where, "must be an array");
        }
        for (size_t i = 0; i < entries.size(); ++i) {
            const std::string at = where + "[" + std::to_string(i) + "]";
            const Json& entry = entries[i];
            if (!entry.is_object() || !entry.contains("id") || !entry.contains("bytes")) {
                Fail(at, "an entry must be an object with an id and bytes");
            }
            OnlyKeys(entry, at, {"id", "duplicateId", "bytes"});
            const uint32_t id = static_cast<uint32_t>(Unsigned(entry["id"], at + ".id",
                                                               kMaxEntryId));
            std::optional<uint32_t> duplicateId;
            if (entry.contains("duplicateId")) {
                duplicateId = static_cast<uint32_t>(
                    Unsigned(entry["duplicateId"], at + ".duplicateId", UINT32_MAX));
            }
            std::vector<uint8_t> bytes = FromHex(Text(entry, "bytes", "", at), m_input + at +
                                                                                 ".bytes");
            if (id == 0) {
                Fail(at + ".id", "entry ids start at 1");
            }
            auto [given, added] = m_rawEntries.emplace(id, std::make_pair(duplicateId, bytes));
            if (!added) {
                if (given->second != std::make_pair(duplicateId, bytes)) {
                    Fail(at + ".id", "entry " + std::to_string(id) +
                                         " is given twice with different values");
                }
                continue;
            }
            m_builder.AddPointerTargetAt(id, std::move(bytes), duplicateId);
        }
    }

    void ModuleId(const Json& value, const std::string& where) {
        if (binwriter::HasDataTable(m_builder.FormatVersion())) {
            Fail(where, "modules keep their ids only in binaries without a data table, below "
                        "version 4.0.0");
        }
        const uint32_t id = static_cast<uint32_t>(Unsigned(value, where, kMaxEntryId));
        try {
            m_builder.AddSymbolAt(id, binwriter::SymbolEntry{});
        } catch (const std::invalid_argument&) {
            Fail(where, "entry " + std::to_string(id) + " is taken or zero");
        }
    }

    // A module entry where its id says, or at the first free id.
    void AddSymbol(const Json& module, binwriter::SymbolEntry entry, uint32_t& id) {
        if (module.contains("id")) {
            id = module["id"].get<uint32_t>();
            m_builder.Symbol(id) = std::move(entry);
        } else {
            id = m_builder.AddSymbol(std::move(entry));
        }
    }

    void AddModule(const Json& module, const std::string& where, uint32_t modeId) {
        OnlyKeys(module, where,
                 {"name", "id", "values", "version", "reason", "bytes", "entries",
                  "schemaValues"});
        const std::string name = Text(module, "name", "", where);
        const CatalogueName* pName = FindCatalogueName(name);
        if (pName == nullptr) {
            Fail(where + ".name", "no module " + name + " in the catalogue");
        }
        if (m_manager.empty()) {
            m_manager = pName->manager;
        } else if (m_manager != pName->manager) {
            Fail(where + ".name", name + " belongs to " + pName->manager +
                                      ", the modules before it to " + m_manager);
        }
        const ParameterEngine::StructDescriptor* pFields = ModuleFields(*pName);
        if (pFields == nullptr && module.contains("values") && m_runTimeFields) {
            pFields = m_runTimeFields(name);
        }
        // A module given neither way holds zero values, where it has fields.
        const bool values =
            module.contains("values") || (!module.contains("bytes") && pFields != nullptr);
        if (module.contains("values") && module.contains("bytes")) {
            Fail(where, "a module holds either values or bytes");
        }
        if (module.contains("version") &&
            Text(module, "version", "", where) != VersionText(pName->version)) {
            Fail(where + ".version", name + " is version " + VersionText(pName->version));
        }
        if (module.contains("reason")) {
            Text(module, "reason", "", where);
        }
        if (pFields == nullptr && !module.contains("bytes")) {
            Fail(where, name + " has no schema, so it takes bytes");
        }
        for (const char* pKey : {"entries", "schemaValues"}) {
            if (module.contains(pKey) && !module.contains("bytes")) {
                Fail(Join(where, pKey), std::string("only a module given as bytes has ") + pKey);
            }
        }
        char type[ModuleData::kTypeLength + 1];
        ModuleData::GetType(type, name.c_str());
        const std::string key =
            std::string(type) + "\n" +
            (values ? "v" + module.value("values", Json::object()).dump()
                    : "b" + Text(module, "bytes", "", where));
        auto shared = m_stored.find(key);
        if (shared != m_stored.end() && binwriter::HasDuplicateIds(m_builder.FormatVersion())) {
            binwriter::SymbolEntry entry{type, pName->version, modeId, shared->second.second, {},
                                         {}};
            entry.duplicateId = shared->second.first;
            uint32_t id = 0;
            AddSymbol(module, std::move(entry), id);
            return;
        }
        std::vector<uint8_t> bytes =
            values ? EncodeStructure(*pFields, module.value("values", Json::object()), m_builder,
                                     m_input + where + ".values")
                   : FromHex(Text(module, "bytes", "", where), m_input + where + ".bytes");
        uint32_t id = 0;
        AddSymbol(module, binwriter::SymbolEntry{type, pName->version, modeId, bytes, {}, {}}, id);
        m_stored.emplace(key, std::make_pair(id, std::move(bytes)));
    }

    const Json& m_description;
    const RunTimeFields& m_runTimeFields;
    std::string m_file;
    // The file name as messages start with it.
    std::string m_input;
    binwriter::TuningBinaryBuilder m_builder;
    std::vector<DescribedMode> m_modes;
    std::vector<binwriter::ModeRecord> m_records;
    std::map<std::string, uint32_t> m_ids;
    std::map<uint32_t, std::pair<std::optional<uint32_t>, std::vector<uint8_t>>> m_rawEntries;
    std::string m_manager;
    // Modules already written, by short name and values or bytes: entry id and bytes.
    std::map<std::string, std::pair<uint32_t, std::vector<uint8_t>>> m_stored;
};

}  // namespace

std::vector<uint8_t> BuildBinary(const Json& description, const std::string& input,
                                 const RunTimeFields& runTimeFields) {
    return DescriptionBuilder(description, input, runTimeFields).Build();
}

}  // namespace zyratune
