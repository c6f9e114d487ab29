// Builds a complete tuning binary of any supported version: header, section table, symbol
// table, data table, mode section, data block and CRC tail. Everything is laid out from
// what the caller adds; ContainerOverrides and the raw fields of entries and sections let a
// test write what a reader has to refuse.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "binwriter/entries.h"
#include "binwriter/version.h"

namespace binwriter {

class TuningBinaryBuilder {
public:
    explicit TuningBinaryBuilder(const Version& formatVersion);

    const Version& FormatVersion() const { return m_version; }
    uint8_t Alignment() const;

    void SetTool(std::string tool) { m_tool = std::move(tool); }
    void SetBinaryTag(std::string binaryTag) { m_binaryTag = std::move(binaryTag); }
    void SetFlags(uint64_t flags) { m_flags = flags; }
    // Text of the 32-byte field in front of the mode records; readers skip it.
    void SetModePrefix(std::string prefix) { m_modePrefix = std::move(prefix); }

    // Adds a mode record and returns its id, which is its index in the mode section.
    uint32_t AddMode(const ModeRecord& record);
    // Adds a record under `modeId` with the same mode and submode, which readers take as a
    // second id of that very node. Returns the new id.
    uint32_t AddModeAlias(uint32_t modeId);

    // Adds a symbol entry and returns its id: the lowest one free, from 1.
    uint32_t AddSymbol(SymbolEntry entry);
    // Adds a symbol entry under a given id, which entries added later go around; an id already
    // taken is refused. Symbol(id) changes the entry afterwards.
    void AddSymbolAt(uint32_t id, SymbolEntry entry);
    SymbolEntry& Symbol(uint32_t id) { return m_symbols.at(id - 1); }
    uint32_t AddModule(const std::string& name, const Version& moduleVersion, uint32_t modeId,
                       std::vector<uint8_t> data);
    // Adds a data table entry and returns its id, numbered from 1 like symbol entries.
    uint32_t AddDataEntry(DataEntry entry);
    // Adds an object for a pointer to name and returns the id the pointer has to hold: a data
    // table entry where the version has that table, else a symbol entry that is no module.
    uint32_t AddPointerTarget(std::vector<uint8_t> data,
                              std::optional<uint32_t> duplicateId = std::nullopt);
    // Adds a pointer target under a given id, as values that hold the id require. Entries
    // added later take the free ids around it; an id already taken is refused.
    void AddPointerTargetAt(uint32_t id, std::vector<uint8_t> data,
                            std::optional<uint32_t> duplicateId = std::nullopt);

    // Shares equal values from here on: AddSharedTarget gives equal values one entry, and the
    // data block stores equal values once. Off by default: every entry has its own copy.
    void SetShareEqualValues(bool share) { m_shareEqualValues = share; }
    // AddPointerTarget for values that readers share between the pointers of one reading
    // `site` (strings, arrays of structures), or that they always copy (no site); `pointers`
    // gives the offsets of the ids of other entries in the values. With sharing on, equal
    // values with ids at the same offsets get one entry, which becomes a duplicate group once
    // two pointers of one site name it. A target added at a fixed id in no group serves as
    // well, also when its values differ only in ids that name entries serving equal values.
    uint32_t AddSharedTarget(std::vector<uint8_t> data, const std::optional<std::string>& site,
                             std::vector<uint32_t> pointers = {});

    // The section table's rows in this order, which is also the order of the sections in
    // the file. Without a call the table lists the symbol table, the data table (when it has
    // entries), the mode section (when there are modes) and the data block.
    void SetSections(std::vector<SectionEntry> sections) { m_sections = std::move(sections); }

    ContainerOverrides& Overrides() { return m_overrides; }

    std::vector<uint8_t> Build() const;

private:
    std::vector<SectionEntry> DefaultSections() const;
    size_t TargetCount() const;
    const std::vector<uint8_t>& TargetData(uint32_t id) const;
    // Whether target `id` may serve values with ids at `pointers`.
    bool ServesLayout(uint32_t id, const std::vector<uint32_t>& pointers) const;
    // A fixed target that serves `data` with ids at `pointers`, or 0.
    uint32_t FixedTargetFor(const std::vector<uint8_t>& data,
                            const std::vector<uint32_t>& pointers) const;
    bool ServesEqualValues(const std::vector<uint8_t>& data, const std::vector<uint32_t>& pointers,
                           uint32_t id, unsigned int depth) const;
    // Bytes of each section type the builder has content for, keyed by type.
    std::map<uint32_t, std::vector<uint8_t>> EncodeSectionContents() const;

    Version m_version;
    std::string m_tool = "zyra binwriter";
    std::string m_binaryTag;
    uint64_t m_flags = 0;
    std::string m_modePrefix;
    std::vector<ModeRecord> m_modes;
    std::vector<SymbolEntry> m_symbols;
    std::vector<DataEntry> m_dataEntries;
    // Ids below the highest fixed one that no entry has taken yet; left free, they are written
    // as empty entries.
    std::set<uint32_t> m_freeSymbolIds;
    std::set<uint32_t> m_freeDataIds;

    struct SharedValue {
        uint32_t id;
        std::set<std::string> sites;
        bool grouped;
    };
    bool m_shareEqualValues = false;
    // By values and the offsets of the ids in them: equal bytes hold other things where the
    // ids lie elsewhere.
    using ValueKey = std::pair<std::vector<uint8_t>, std::vector<uint32_t>>;
    std::map<ValueKey, SharedValue> m_sharedValues;
    // Fixed targets in no group by the size of their values, and where the ids lie in the
    // values of each target handed out for shared values; a target serves one such layout.
    std::multimap<size_t, uint32_t> m_fixedTargets;
    std::map<uint32_t, std::vector<uint32_t>> m_pointers;
    std::optional<std::vector<SectionEntry>> m_sections;
    ContainerOverrides m_overrides;
};

}  // namespace binwriter
