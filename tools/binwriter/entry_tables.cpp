#include "binwriter/entry_tables.h"

#include <stdexcept>

#include "binwriter/byte_writer.h"
#include "binwriter/format_rules.h"

namespace binwriter {
namespace {

constexpr size_t kU32 = 4;
constexpr size_t kVersionWidth = 8;
constexpr size_t kReservedWidth = 8;

// The fields every entry of both tables ends with.
void WriteDataReference(ByteWriter& writer, const EntryPlacement& placement) {
    writer.Slot(placement.dataOffset, kU32);
    writer.Slot(placement.dataLength, kU32);
}

void WriteDuplicateId(ByteWriter& writer, const EntryPlacement& placement,
                      const Version& binaryVersion) {
    if (HasDuplicateIds(binaryVersion)) {
        writer.Slot(placement.duplicateId, kU32);
    }
}

}  // namespace

std::vector<uint8_t> EncodeSymbolTable(const std::vector<SymbolEntry>& entries,
                                       const std::vector<EntryPlacement>& placements,
                                       const Version& binaryVersion) {
    if (entries.size() != placements.size()) {
        throw std::logic_error("every symbol entry needs its placement");
    }
    ByteWriter writer(AlignmentFor(binaryVersion));
    for (size_t i = 0; i < entries.size(); ++i) {
        writer.Slot(placements[i].id, kU32);
        writer.Text(entries[i].name, RoundUp(kSymbolNameWidth, writer.Alignment()));
        writer.Slot(entries[i].version.Word(), kVersionWidth);
        if (HasReservedSymbolBytes(binaryVersion)) {
            writer.Word(0, kReservedWidth);
        }
        writer.Slot(entries[i].mode, kU32);
        WriteDataReference(writer, placements[i]);
        WriteDuplicateId(writer, placements[i], binaryVersion);
    }
    // Readers count entries by the declared size, which can exceed what the fields take.
    writer.PadTo(entries.size() * DeclaredSymbolEntrySize(binaryVersion));
    return writer.Release();
}

std::vector<uint8_t> EncodeDataTable(const std::vector<EntryPlacement>& placements,
                                     const Version& binaryVersion) {
    ByteWriter writer(AlignmentFor(binaryVersion));
    for (const EntryPlacement& placement : placements) {
        writer.Slot(placement.id, kU32);
        WriteDataReference(writer, placement);
        WriteDuplicateId(writer, placement, binaryVersion);
    }
    return writer.Release();
}

}  // namespace binwriter
