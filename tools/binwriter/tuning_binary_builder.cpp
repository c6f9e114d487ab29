#include "binwriter/tuning_binary_builder.h"

#include <algorithm>
#include <map>
#include <stdexcept>

#include "binwriter/byte_writer.h"
#include "binwriter/checked_size.h"
#include "binwriter/container_header.h"
#include "binwriter/crc_tail.h"
#include "binwriter/data_block.h"
#include "binwriter/entry_tables.h"
#include "binwriter/format_rules.h"
#include "binwriter/mode_section.h"

namespace binwriter {
namespace {

using SectionBytes = std::map<uint32_t, std::vector<uint8_t>>;

uint32_t Key(SectionType type) { return static_cast<uint32_t>(type); }

// Puts `entry` at the lowest free id, or behind the last entry.
template <typename Entry>
uint32_t TakeFreeId(std::vector<Entry>& entries, std::set<uint32_t>& free, Entry entry) {
    if (free.empty()) {
        entries.push_back(std::move(entry));
        return ToU32(entries.size());
    }
    const uint32_t id = *free.begin();
    free.erase(free.begin());
    entries[id - 1] = std::move(entry);
    return id;
}

// Puts `entry` at `id`; the ids skipped to get there stay free.
template <typename Entry>
void TakeId(std::vector<Entry>& entries, std::set<uint32_t>& free, uint32_t id, Entry entry) {
    if (id == 0 || (id <= entries.size() && free.count(id) == 0)) {
        throw std::invalid_argument("entry id " + std::to_string(id) + " is taken or zero");
    }
    while (entries.size() < id) {
        entries.emplace_back();
        free.insert(ToU32(entries.size()));
    }
    free.erase(id);
    entries[id - 1] = std::move(entry);
}

// Stores each entry's values in the data block and works out the numbers its table entry
// records, raw overrides taking precedence.
template <typename Entry>
std::vector<EntryPlacement> PlaceEntries(const std::vector<Entry>& entries, EntryTable table,
                                         const Version& version, DataBlock& block) {
    std::vector<EntryPlacement> placements;
    for (size_t index = 0; index < entries.size(); ++index) {
        const Entry& entry = entries[index];
        EntryPlacement placement;
        placement.id = entry.overrides.id.value_or(ToU32(index + 1));
        placement.duplicateId = entry.duplicateId.value_or(placement.id);
        std::optional<DuplicateGroup> group;
        if (HasDuplicateIds(version)) {
            group = DuplicateGroup{table, placement.duplicateId};
        }
        StoredData stored = block.Store(entry.data, group);
        placement.dataOffset = entry.overrides.dataOffset.value_or(stored.offset);
        placement.dataLength = entry.overrides.dataLength.value_or(stored.length);
        placements.push_back(placement);
    }
    return placements;
}

// Places each known section's bytes the first time its type is listed, after the header and
// the section table, and returns the rows that describe them.
std::vector<SectionRow> PlaceSections(const std::vector<SectionEntry>& sections,
                                      const SectionBytes& contents, const Version& version,
                                      ByteWriter& file) {
    std::map<uint32_t, SectionRow> placed;
    std::vector<SectionRow> rows;
    for (const SectionEntry& section : sections) {
        SectionRow row{section.type, 0, 0};
        auto content = contents.find(section.type);
        auto earlier = placed.find(section.type);
        if (earlier != placed.end()) {
            row = earlier->second;
        } else if (content != contents.end()) {
            file.PadToAlignment();
            row.offset = ToU32(file.Size());
            row.size = ToU32(content->second.size());
            file.Raw(content->second);
            // Loading from a file fetches each data table entry with the size of a symbol
            // entry, so the last one needs that many bytes behind its start.
            if (section.type == Key(SectionType::DataTable) && !content->second.empty()) {
                file.PadTo(file.Size() + DeclaredSymbolEntrySize(version));
            }
            placed.emplace(section.type, row);
        }
        row.offset = section.offset.value_or(row.offset);
        row.size = section.size.value_or(row.size);
        rows.push_back(row);
    }
    return rows;
}

}  // namespace

TuningBinaryBuilder::TuningBinaryBuilder(const Version& formatVersion)
    : m_version(formatVersion) {}

uint8_t TuningBinaryBuilder::Alignment() const { return AlignmentFor(m_version); }

uint32_t TuningBinaryBuilder::AddMode(const ModeRecord& record) {
    m_modes.push_back(record);
    return ToU32(m_modes.size() - 1);
}

uint32_t TuningBinaryBuilder::AddModeAlias(uint32_t modeId) {
    if (modeId >= m_modes.size()) {
        throw std::out_of_range("no mode " + std::to_string(modeId) + " to alias");
    }
    ModeRecord alias;
    alias.mode = m_modes[modeId].mode;
    alias.subMode = m_modes[modeId].subMode;
    alias.parent = modeId;
    return AddMode(alias);
}

uint32_t TuningBinaryBuilder::AddSymbol(SymbolEntry entry) {
    return TakeFreeId(m_symbols, m_freeSymbolIds, std::move(entry));
}

void TuningBinaryBuilder::AddSymbolAt(uint32_t id, SymbolEntry entry) {
    TakeId(m_symbols, m_freeSymbolIds, id, std::move(entry));
}

uint32_t TuningBinaryBuilder::AddModule(const std::string& name, const Version& moduleVersion,
                                        uint32_t modeId, std::vector<uint8_t> data) {
    SymbolEntry entry;
    entry.name = name;
    entry.version = moduleVersion;
    entry.mode = modeId;
    entry.data = std::move(data);
    return AddSymbol(std::move(entry));
}

uint32_t TuningBinaryBuilder::AddDataEntry(DataEntry entry) {
    return TakeFreeId(m_dataEntries, m_freeDataIds, std::move(entry));
}

uint32_t TuningBinaryBuilder::AddPointerTarget(std::vector<uint8_t> data,
                                               std::optional<uint32_t> duplicateId) {
    if (HasDataTable(m_version)) {
        return AddDataEntry(DataEntry{std::move(data), duplicateId, {}});
    }
    SymbolEntry entry;
    entry.data = std::move(data);
    entry.duplicateId = duplicateId;
    return AddSymbol(std::move(entry));
}

void TuningBinaryBuilder::AddPointerTargetAt(uint32_t id, std::vector<uint8_t> data,
                                             std::optional<uint32_t> duplicateId) {
    // An entry alone in its group can serve values added later that equal its own.
    if (duplicateId.value_or(id) == id) {
        m_sharedValues.emplace(ValueKey{data, {}}, SharedValue{id, {}, false});
        m_fixedTargets.emplace(data.size(), id);
    }
    if (HasDataTable(m_version)) {
        TakeId(m_dataEntries, m_freeDataIds, id, DataEntry{std::move(data), duplicateId, {}});
        return;
    }
    SymbolEntry entry;
    entry.data = std::move(data);
    entry.duplicateId = duplicateId;
    AddSymbolAt(id, std::move(entry));
}

size_t TuningBinaryBuilder::TargetCount() const {
    return HasDataTable(m_version) ? m_dataEntries.size() : m_symbols.size();
}

const std::vector<uint8_t>& TuningBinaryBuilder::TargetData(uint32_t id) const {
    return HasDataTable(m_version) ? m_dataEntries.at(id - 1).data : m_symbols.at(id - 1).data;
}

bool TuningBinaryBuilder::ServesLayout(uint32_t id, const std::vector<uint32_t>& pointers) const {
    auto layout = m_pointers.find(id);
    return layout == m_pointers.end() || layout->second == pointers;
}

uint32_t TuningBinaryBuilder::FixedTargetFor(const std::vector<uint8_t>& data,
                                             const std::vector<uint32_t>& pointers) const {
    const auto [first, last] = m_fixedTargets.equal_range(data.size());
    for (auto it = first; !pointers.empty() && it != last; ++it) {
        if (ServesLayout(it->second, pointers) &&
            ServesEqualValues(data, pointers, it->second, 0)) {
            return it->second;
        }
    }
    return 0;
}

// Whether target `id` holds `data` but for ids at `pointers`, where each names a target that
// serves the values of the one `data` names there.
bool TuningBinaryBuilder::ServesEqualValues(const std::vector<uint8_t>& data,
                                            const std::vector<uint32_t>& pointers, uint32_t id,
                                            unsigned int depth) const {
    constexpr unsigned int kMaxDepth = 64;  // values of a binary may point in a ring
    const std::vector<uint8_t>& held = TargetData(id);
    if (held.size() != data.size() || depth > kMaxDepth) {
        return false;
    }
    std::vector<bool> isPointer(data.size(), false);
    for (uint32_t at : pointers) {
        for (uint32_t i = at; i < at + sizeof(uint32_t) && i < data.size(); ++i) {
            isPointer[i] = true;
        }
    }
    for (size_t i = 0; i < data.size(); ++i) {
        if (!isPointer[i] && data[i] != held[i]) {
            return false;
        }
    }
    auto word = [](const std::vector<uint8_t>& bytes, uint32_t at) {
        uint32_t value = 0;
        for (uint32_t i = 0; i < sizeof(uint32_t) && at + i < bytes.size(); ++i) {
            value |= uint32_t{bytes[at + i]} << (8 * i);
        }
        return value;
    };
    for (uint32_t at : pointers) {
        const uint32_t wanted = word(data, at);
        const uint32_t other = word(held, at);
        auto inner = m_pointers.find(wanted);
        if (wanted != other &&
            (inner == m_pointers.end() || other == 0 || other > TargetCount() ||
             !ServesLayout(other, inner->second) ||
             !ServesEqualValues(TargetData(wanted), inner->second, other, depth + 1))) {
            return false;
        }
    }
    return true;
}

uint32_t TuningBinaryBuilder::AddSharedTarget(std::vector<uint8_t> data,
                                              const std::optional<std::string>& site,
                                              std::vector<uint32_t> pointers) {
    if (!m_shareEqualValues) {
        return AddPointerTarget(std::move(data));
    }
    ValueKey key{std::move(data), std::move(pointers)};
    auto found = m_sharedValues.find(key);
    if (found == m_sharedValues.end() || !ServesLayout(found->second.id, key.second)) {
        uint32_t id = FixedTargetFor(key.first, key.second);
        if (id == 0) {
            id = AddPointerTarget(key.first);
        }
        found = m_sharedValues.insert_or_assign(key, SharedValue{id, {}, false}).first;
    }
    SharedValue& value = found->second;
    m_pointers.emplace(value.id, key.second);
    // Readers share an object only within a duplicate group, which needs two entries.
    if (site && !value.sites.insert(*site).second && !value.grouped &&
        HasDuplicateIds(m_version)) {
        // A copy: adding an entry may move the values of the others.
        std::vector<uint8_t> held = TargetData(value.id);
        AddPointerTarget(std::move(held), value.id);
        value.grouped = true;
    }
    return value.id;
}

std::vector<SectionEntry> TuningBinaryBuilder::DefaultSections() const {
    std::vector<SectionEntry> sections{SectionType::SymbolTable};
    if (!m_dataEntries.empty()) {
        sections.emplace_back(SectionType::DataTable);
    }
    if (!m_modes.empty()) {
        sections.emplace_back(SectionType::ModeSection);
    }
    sections.emplace_back(SectionType::DataBlock);
    return sections;
}

std::map<uint32_t, std::vector<uint8_t>> TuningBinaryBuilder::EncodeSectionContents() const {
    const uint8_t alignment = Alignment();
    DataBlock block(alignment, m_shareEqualValues);
    const std::vector<EntryPlacement> symbolPlacements =
        PlaceEntries(m_symbols, EntryTable::Symbols, m_version, block);
    const std::vector<EntryPlacement> dataPlacements =
        PlaceEntries(m_dataEntries, EntryTable::Data, m_version, block);

    SectionBytes contents;
    contents[Key(SectionType::SymbolTable)] =
        EncodeSymbolTable(m_symbols, symbolPlacements, m_version);
    contents[Key(SectionType::DataTable)] = EncodeDataTable(dataPlacements, m_version);
    if (!m_modes.empty()) {
        contents[Key(SectionType::ModeSection)] =
            EncodeModeSection(m_modes, m_modePrefix, m_version);
    }
    ByteWriter dataBlock(alignment);
    dataBlock.Raw(block.Release());
    // Readers take a data block of size 0 for a missing one and then load no module at all.
    if (dataBlock.Size() == 0) {
        dataBlock.Slot(0, sizeof(uint32_t));
    }
    contents[Key(SectionType::DataBlock)] = dataBlock.Release();
    return contents;
}

std::vector<uint8_t> TuningBinaryBuilder::Build() const {
    const uint8_t alignment = Alignment();
    const std::vector<SectionEntry> sections = m_sections.value_or(DefaultSections());
    const size_t headerSize = HeaderSize(m_version);
    ByteWriter file(alignment);
    file.PadTo(headerSize + SectionTableSize(sections.size(), alignment));
    const std::vector<SectionRow> rows =
        PlaceSections(sections, EncodeSectionContents(), m_version, file);
    file.PadTo(kOnDemandHeadSize - kCrcTailSize);

    HeaderFields header;
    header.tag = m_overrides.headerTag.value_or(kHeaderTag);
    header.headerSize = m_overrides.headerSize.value_or(ToU32(file.Size() + kCrcTailSize));
    header.version = m_version;
    header.tool = m_tool;
    header.binaryTag = m_binaryTag;
    header.flags = m_flags;
    header.sectionTableOffset = m_overrides.sectionTableOffset.value_or(ToU32(headerSize));
    header.sectionCount = m_overrides.sectionCount.value_or(ToU32(rows.size()));

    std::vector<uint8_t> binary = file.Release();
    const std::vector<uint8_t> headerBytes = EncodeHeader(header);
    const std::vector<uint8_t> tableBytes = EncodeSectionTable(rows, alignment);
    std::copy(headerBytes.begin(), headerBytes.end(), binary.begin());
    std::copy(tableBytes.begin(), tableBytes.end(), binary.begin() + headerSize);
    AppendCrcTail(binary);
    if (m_overrides.corruptCrc) {
        binary.back() ^= 0xFF;
    }
    return binary;
}

}  // namespace binwriter
