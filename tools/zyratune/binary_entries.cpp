#include "binary_entries.h"

#include <algorithm>

#include "little_endian.h"
#include "parser/setmanager/module_data.h"

namespace zyratune {
namespace {

constexpr uint32_t kSymbolTable = 0;
constexpr uint32_t kDataBlock = 1;
constexpr uint32_t kDataTable = 3;

// Reads one table's records from the front of its section. A field of width W takes
// max(W, alignment) bytes; the section's size divided by the declared entry size is the count.
class TableReader {
public:
    TableReader(const std::vector<uint8_t>& bytes, const BinaryHeader& header, uint64_t position)
        : m_bytes(bytes), m_alignment(header.alignment), m_position(position) {}

    uint64_t Field(size_t width) {
        const uint64_t value = Little(m_bytes, m_position, width);
        m_position += std::max<size_t>(width, m_alignment);
        return value;
    }
    void Skip(size_t width) { m_position += width; }
    uint64_t Position() const { return m_position; }

private:
    const std::vector<uint8_t>& m_bytes;
    size_t m_alignment;
    uint64_t m_position;
};

std::vector<uint8_t> Values(const std::vector<uint8_t>& bytes, uint64_t blockOffset,
                            uint32_t offset, uint32_t length) {
    const uint64_t begin = std::min<uint64_t>(blockOffset + offset, bytes.size());
    const uint64_t end = std::min<uint64_t>(begin + length, bytes.size());
    return std::vector<uint8_t>(bytes.begin() + begin, bytes.begin() + end);
}

// Records until the count is reached or an id out of range, at which the library stops
// reading (it meets the same id on every later turn).
void ReadTable(const std::vector<uint8_t>& bytes, const BinaryHeader& header, SectionRow section,
               uint32_t declaredSize, bool symbols, std::map<uint32_t, TableEntry>& table) {
    const uint32_t count = declaredSize != 0 ? section.size / declaredSize : 0;
    const uint64_t block = header.Section(kDataBlock).value_or(SectionRow{}).offset;
    const size_t word = std::max<size_t>(4, header.alignment);
    TableReader reader(bytes, header, section.offset);
    for (uint32_t i = 0; i < count && reader.Position() + word <= bytes.size(); ++i) {
        TableEntry entry;
        entry.id = static_cast<uint32_t>(reader.Field(4));
        if (entry.id == 0 || entry.id > count) {
            return;
        }
        if (symbols) {
            const uint64_t at = reader.Position();
            for (size_t k = 0; k < 32 && bytes.size() > at + k && bytes[at + k] != 0; ++k) {
                entry.name.push_back(static_cast<char>(bytes[at + k]));
            }
            reader.Skip(32);  // a multiple of both alignments
            entry.version = reader.Field(8);
            if (header.alignment == 1 && !header.AtLeast(3, 0, 1)) {
                reader.Skip(8);
            }
            entry.mode = static_cast<uint32_t>(reader.Field(4));
        }
        const uint32_t offset = static_cast<uint32_t>(reader.Field(4));
        const uint32_t length = static_cast<uint32_t>(reader.Field(4));
        entry.duplicateId =
            header.AtLeast(3, 0, 2) ? static_cast<uint32_t>(reader.Field(4)) : entry.id;
        entry.bytes = Values(bytes, block, offset, length);
        table[entry.id] = std::move(entry);
    }
}

uint32_t SymbolEntrySize(const BinaryHeader& header) {
    if (header.AtLeast(3, 0, 2)) return 60;
    if (header.alignment != 1) return 76;
    return header.AtLeast(3, 0, 1) ? 56 : 64;
}

}  // namespace

BinaryEntries ReadBinaryEntries(const std::vector<uint8_t>& bytes, const BinaryHeader& header) {
    BinaryEntries entries;
    if (std::optional<SectionRow> symbols = header.Section(kSymbolTable)) {
        ReadTable(bytes, header, *symbols, SymbolEntrySize(header), true, entries.symbols);
    }
    std::optional<SectionRow> data = header.Section(kDataTable);
    entries.hasDataTable = data && data->offset != 0 && data->size != 0;
    if (entries.hasDataTable) {
        ReadTable(bytes, header, *data, header.AtLeast(4, 0, 0) ? 16 : 0, false, entries.data);
    }
    return entries;
}

std::vector<uint8_t> LoadedBytes(const BinaryEntries& entries, const ModuleData& data) {
    auto found = entries.symbols.find(data.DuplicateID != 0 ? data.DuplicateID : data.ID);
    return found != entries.symbols.end() ? found->second.bytes : std::vector<uint8_t>();
}

}  // namespace zyratune
