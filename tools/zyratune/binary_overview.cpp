// The inspect command: the container's header and sections, then the mode tree with the modules each
// node holds, their kind (typed classes have fields the tool can show, opaque ones only
// bytes, or the fields of a run-time schema), size and sharing.
#include <cstdio>
#include <map>

#include "binary_entries.h"
#include "binary_header.h"
#include "commands.h"
#include "mode_walk.h"
#include "module_index.h"
#include "opened_binary.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"

namespace zyratune {
namespace {

std::string Hex(uint64_t value) {
    char text[24];
    std::snprintf(text, sizeof(text), "0x%08llx", static_cast<unsigned long long>(value));
    return text;
}

void WriteHeader(const OpenedBinary& binary, const BinaryHeader& header, std::ostream& out) {
    out << "file:        " << binary.path << " (" << binary.bytes.size() << " bytes)\n"
        << "version:     " << header.Version() << "\n"
        << "tool:        " << header.tool << "\n"
        << "tag:         " << header.binaryTag << "\n"
        << "flags:       " << Hex(header.flags) << "\n"
        << "alignment:   " << unsigned{header.alignment} << "\n"
        << "crc:         " << (header.CrcMatches() ? "ok " : "MISMATCH ")
        << Hex(header.storedCrc);
    if (!header.CrcMatches()) {
        out << " (computed " << Hex(header.computedCrc) << ")";
    }
    out << "\nsections:\n";
    for (const SectionRow& row : header.sections) {
        out << "  " << SectionName(row.type) << ": offset " << row.offset << ", " << row.size
            << " bytes\n";
    }
    out << "set manager: " << binary.managerName << "\n";
}

// One line per symbol entry of the mode: entries with equal values share one instance.
void WriteModule(const ParameterSetManager& manager, const ModuleData& data,
                 const BinaryEntries& entries, unsigned int depth, std::ostream& out) {
    const std::string name = data.Type != nullptr ? data.Type : "?";
    const CatalogueName* pName = FindCatalogueName(name);
    const ParameterEngine::SchemaLayout* pLayout =
        manager.GetSchemaLayout(pName != nullptr ? pName->name : name.c_str());
    out << std::string(2 * depth + 2, ' ') << "- " << name << " "
        << VersionText(data.Version.major, data.Version.minor, data.Version.patch) << " "
        << (pName != nullptr && ModuleFields(*pName) != nullptr ? "typed"
            : pLayout != nullptr ? std::string("opaque (schema ") + pLayout->schemaPath + ")"
                                 : "opaque");
    auto entry = entries.symbols.find(data.ID);
    if (entry != entries.symbols.end()) {
        out << ", " << entry->second.bytes.size() << " bytes";
    }
    out << ", entry " << data.ID;
    if (data.DuplicateID != data.ID) {
        out << ", shares the values of entry " << data.DuplicateID;
    }
    out << "\n";
}

}  // namespace

int Inspect(const std::string& file, std::ostream& out) {
    OpenedBinary binary = OpenBinary(file);
    ParameterSetManager& manager = binary.Manager();
    const BinaryHeader header = ReadBinaryHeader(binary.bytes);
    const BinaryEntries symbolEntries = ReadBinaryEntries(binary.bytes, header);
    WriteHeader(binary, header, out);
    out << "modes:       " << manager.GetModeCount() << "\n";
    std::map<const ModeEntry*, std::vector<const ModuleData*>> entries;
    if (ParameterFileSymbolTable* pTable = manager.GetSymbolTable()) {
        PList<ModuleData*>& modules = pTable->GetModules();
        for (uint32_t i = 0; i < modules.Count(); ++i) {
            entries[modules[i]->Mode].push_back(modules[i]);
        }
    }
    ForEachMode(manager.GetRootMode(), [&](ModeEntry& mode, unsigned int depth) {
        out << std::string(2 * depth + 2, ' ') << ModeName(mode);
        ModeEntry* pTarget = mode.LinkTarget();
        if (pTarget != &mode) {
            out << " -> " << ModePath(*pTarget);
        }
        out << (mode.Pinned ? " (pinned)" : "") << "\n";
        for (const ModuleData* pData : entries[&mode]) {
            WriteModule(manager, *pData, symbolEntries, depth + 1, out);
        }
    });
    return 0;
}

}  // namespace zyratune
