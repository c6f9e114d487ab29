#include "binwriter/container_header.h"

#include <algorithm>

#include "binwriter/byte_writer.h"
#include "binwriter/format_rules.h"

namespace binwriter {
namespace {

constexpr size_t kU32 = 4;
constexpr size_t kU64 = 8;
constexpr size_t kWordsPerSection = 3;

}  // namespace

std::vector<uint8_t> EncodeHeader(const HeaderFields& fields) {
    ByteWriter writer;
    writer.Text(fields.tag, kHeaderTagWidth);
    writer.Word(fields.headerSize, kU32);
    writer.Word(fields.version.Word(), kU64);
    if (HasToolAndBinaryTag(fields.version)) {
        writer.Text(fields.tool, kToolWidth);
        writer.Text(fields.binaryTag, kBinaryTagWidth);
    }
    if (HasFlags(fields.version)) {
        writer.Word(fields.flags, kU64);
    }
    writer.Word(fields.sectionTableOffset, kU32);
    writer.Word(fields.sectionCount, kU32);
    return writer.Release();
}

std::vector<uint8_t> EncodeSectionTable(const std::vector<SectionRow>& rows, uint8_t alignment) {
    ByteWriter writer(alignment);
    for (const SectionRow& row : rows) {
        writer.Slot(row.type, kU32);
        writer.Slot(row.offset, kU32);
        writer.Slot(row.size, kU32);
    }
    return writer.Release();
}

size_t SectionTableSize(size_t count, uint8_t alignment) {
    return count * kWordsPerSection * std::max<size_t>(kU32, alignment);
}

}  // namespace binwriter
