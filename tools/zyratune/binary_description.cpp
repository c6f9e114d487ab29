#include "binary_description.h"

#include <map>
#include <set>

#include "binary_entries.h"
#include "binary_header.h"
#include "described_modes.h"
#include "json_codec.h"
#include "mode_walk.h"
#include "module_index.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"

namespace zyratune {
namespace {

// The instance the module of a symbol entry is, found as the set manager found it: the one
// the entry made, or else the one of the entry it duplicates.
ParameterModule* InstanceOf(ParameterSetManager& manager, ModuleData& data) {
    DefaultModule* pDefault = manager.GetDefaultModule(data.Type);
    if (pDefault == nullptr) {
        return nullptr;
    }
    for (ModuleLink* pLink = pDefault->InstanceHead; pLink != nullptr; pLink = pLink->Next) {
        if (pLink->Module != nullptr && pLink->Module->Data == &data) {
            return pLink->Module;
        }
    }
    return pDefault->Find(data.DuplicateID != 0 ? data.DuplicateID : data.ID);
}

class Describer {
public:
    Describer(OpenedBinary& binary, const std::set<const ParameterModule*>& rewritten)
        : m_rewritten(rewritten),
          m_manager(binary.Manager()),
          m_header(ReadBinaryHeader(binary.bytes)),
          m_entries(ReadBinaryEntries(binary.bytes, m_header)) {
        if (ParameterFileSymbolTable* pTable = m_manager.GetSymbolTable()) {
            PList<ModuleData*>& modules = pTable->GetModules();
            for (uint32_t i = 0; i < modules.Count(); ++i) {
                m_modules[modules[i]->Mode].push_back(modules[i]);
            }
        }
    }

    Json Describe() {
        Json description = {{"version", m_header.Version()}, {"alignment", m_header.alignment}};
        if (m_header.AtLeast(1, 0, 2)) {
            description["tool"] = TextJson(m_header.tool);
            description["binaryTag"] = TextJson(m_header.binaryTag);
        }
        if (m_header.AtLeast(3, 0, 0)) {
            description["flags"] = m_header.flags;
        }
        ModeEntry* pRoot = m_manager.GetRootMode();
        description["modes"] = Tree(*pRoot);
        // Nodes that hang under no path to the root: a parent listed after its child, or a
        // second node without parent.
        std::set<const ModeEntry*> tops{pRoot};
        Json detached = Json::array();
        for (unsigned int id = 0; id < m_manager.GetModeCount(); ++id) {
            ModeEntry* pTop = m_manager.GetModeEntry(id);
            while (pTop != nullptr && pTop->Parent != nullptr) {
                pTop = pTop->Parent;
            }
            if (pTop != nullptr && tops.insert(pTop).second) {
                detached.push_back(Tree(*pTop));
            }
        }
        if (!detached.empty()) {
            description["detachedModes"] = std::move(detached);
        }
        AddLinks(description);
        return description;
    }

private:
    Json Tree(ModeEntry& top) {
        Json tree;
        // The JSON object of each node on the path to the current one; a parent's children
        // array only grows behind the node being filled.
        std::vector<Json*> path;
        ForEachMode(&top, [&](ModeEntry& mode, unsigned int depth) {
            path.resize(depth);
            Json node = Mode(mode);
            if (depth == 0) {
                tree = std::move(node);
                path.push_back(&tree);
            } else {
                Json& children = (*path.back())["children"];
                children.push_back(std::move(node));
                path.push_back(&children.back());
            }
        });
        return tree;
    }

    Json Mode(ModeEntry& mode) {
        m_order.push_back(&mode);
        Json node = {{"mode", ModeName(mode)}};
        if (mode.Link != nullptr && *mode.Link != nullptr) {
            node["link"] = nullptr;  // its path is known once all modes are
        }
        if (mode.Pinned && &mode != m_manager.GetRootMode() && mode.Mode.mode > 1) {
            node["pinned"] = true;
        }
        Json modules = Json::array();
        for (ModuleData* pData : m_modules[&mode]) {
            modules.push_back(Module(*pData));
        }
        if (!modules.empty()) {
            node["modules"] = std::move(modules);
        }
        return node;
    }

    // Links name their modes by path, in the same order as DescribedModes lists them.
    void AddLinks(Json& description) {
        const std::vector<DescribedMode> modes = DescribedModes(description, "");
        std::map<const ModeEntry*, std::string> paths;
        for (size_t i = 0; i < modes.size() && i < m_order.size(); ++i) {
            paths[m_order[i]] = modes[i].path;
        }
        for (size_t i = 0; i < modes.size() && i < m_order.size(); ++i) {
            Json& node = description[modes[i].pointer];
            if (!node.contains("link")) {
                continue;
            }
            auto target = paths.find(*m_order[i]->Link);
            if (target != paths.end()) {
                node["link"] = target->second;
            } else {
                node.erase("link");
            }
        }
    }

    Json Module(ModuleData& data) {
        ParameterModule* pModule = InstanceOf(m_manager, data);
        const char* pName = pModule != nullptr ? pModule->Name : data.Type;
        Json module = {{"name", pName}};
        // Without a data table, pointers name symbol entries: a number in the bytes of an
        // opaque module may be the id of a module entry, which then has to keep it.
        if (!m_header.AtLeast(4, 0, 0)) {
            module["id"] = data.ID;
        }
        TypedModule typed{nullptr, nullptr, false};
        if (pModule != nullptr) {
            typed = TypedView(*pModule).value_or(typed);
        }
        if (typed.type != nullptr && (!typed.runTime || m_rewritten.count(pModule) != 0)) {
            module["values"] = DecodeStructure(*typed.type, typed.pTop);
            return module;
        }
        const CatalogueName* pEntry = FindCatalogueName(pName);
        const bool layout =
            pEntry != nullptr && (ModuleFields(*pEntry) != nullptr ||
                                  m_manager.GetSchemaLayout(pEntry->name) != nullptr);
        const std::vector<uint8_t> bytes =
            LoadedBytes(m_entries, pModule != nullptr && pModule->Data != nullptr ? *pModule->Data
                                                                                  : data);
        module["version"] = VersionText(data.Version.major, data.Version.minor, data.Version.patch);
        module["reason"] = typed.type != nullptr ? "run-time schema"
                           : layout              ? "does not load"
                                                 : "no schema";
        module["bytes"] = ToHex(bytes);
        Json reached = ReachedEntries(bytes);
        if (!reached.empty()) {
            module["entries"] = std::move(reached);
        }
        if (typed.type != nullptr) {
            module["schemaValues"] = DecodeStructure(*typed.type, typed.pTop);
        }
        return module;
    }

    bool IsTarget(uint32_t id) const {
        auto found = m_entries.Targets().find(id);
        return found != m_entries.Targets().end() &&
               (m_entries.hasDataTable || found->second.mode == kNotAModule);
    }

    // Every word at a slot boundary that could be the id of an entry: without the module's
    // fields the tool cannot tell a pointer from a number, so it keeps what may be one.
    void Pointers(const std::vector<uint8_t>& bytes, std::vector<uint32_t>& ids) const {
        for (size_t at = 0; at + 4 <= bytes.size(); at += m_header.alignment) {
            ids.push_back(uint32_t{bytes[at]} | uint32_t{bytes[at + 1]} << 8 |
                          uint32_t{bytes[at + 2]} << 16 | uint32_t{bytes[at + 3]} << 24);
        }
    }

    // The entries the bytes reach, directly, through the entries reached, and through their
    // duplicate ids, which the first module to reach an entry lists.
    Json ReachedEntries(const std::vector<uint8_t>& bytes) {
        std::vector<uint32_t> pending;
        Pointers(bytes, pending);
        std::set<uint32_t> reached;
        while (!pending.empty()) {
            const uint32_t id = pending.back();
            pending.pop_back();
            if (!IsTarget(id) || !m_claimed.insert(id).second) {
                continue;
            }
            reached.insert(id);
            const TableEntry& entry = m_entries.Targets().at(id);
            Pointers(entry.bytes, pending);
            pending.push_back(entry.duplicateId);
        }
        Json list = Json::array();
        for (uint32_t id : reached) {
            const TableEntry& entry = m_entries.Targets().at(id);
            Json item = {{"id", id}};
            if (entry.duplicateId != id) {
                item["duplicateId"] = entry.duplicateId;
            }
            item["bytes"] = ToHex(entry.bytes);
            list.push_back(std::move(item));
        }
        return list;
    }

    const std::set<const ParameterModule*>& m_rewritten;
    ParameterSetManager& m_manager;
    BinaryHeader m_header;
    BinaryEntries m_entries;
    std::map<const ModeEntry*, std::vector<ModuleData*>> m_modules;
    std::vector<ModeEntry*> m_order;
    std::set<uint32_t> m_claimed;
};

}  // namespace

Json DescribeBinary(OpenedBinary& binary, const std::set<const ParameterModule*>& rewritten) {
    return Describer(binary, rewritten).Describe();
}

}  // namespace zyratune
