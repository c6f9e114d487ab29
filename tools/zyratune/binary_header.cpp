#include "binary_header.h"

#include <algorithm>
#include <cstring>

#include "parser/file/crc32.h"

namespace zyratune {
namespace {

constexpr size_t kTagWidth = 28;
constexpr size_t kToolWidth = 48;
constexpr size_t kBinaryTagWidth = 64;

uint64_t Little(const std::vector<uint8_t>& bytes, size_t position, size_t width) {
    uint64_t value = 0;
    for (size_t i = 0; i < width && position + i < bytes.size(); ++i) {
        value |= uint64_t{bytes[position + i]} << (8 * i);
    }
    return value;
}

std::string Text(const std::vector<uint8_t>& bytes, size_t position, size_t width) {
    std::string text;
    for (size_t i = position; i < position + width && i < bytes.size() && bytes[i] != 0; ++i) {
        text.push_back(static_cast<char>(bytes[i]));
    }
    return text;
}

bool AtLeast(const BinaryHeader& header, uint16_t major, uint16_t minor, uint32_t patch) {
    if (header.major != major) return header.major > major;
    if (header.minor != minor) return header.minor > minor;
    return header.patch >= patch;
}

}  // namespace

std::string BinaryHeader::Version() const {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

namespace {

// Where the fields of one symbol entry lie, by version (docs/binary-format.md).
struct EntryLayout {
    uint32_t stride = 60, nameAt = 4, modeAt = 44, lengthAt = 52;
};

EntryLayout LayoutOf(const BinaryHeader& header) {
    if (!AtLeast(header, 1, 1, 0)) return {64, 4, 52, 60};
    if (header.alignment == 8) return {72, 8, 48, 64};
    if (!AtLeast(header, 3, 0, 2)) return {56, 4, 44, 52};
    return {};
}

// The symbol table's row, or none.
const SectionRow* SymbolTable(const BinaryHeader& header) {
    for (const SectionRow& row : header.sections) {
        if (row.type == 0) return &row;
    }
    return nullptr;
}

}  // namespace

std::optional<uint32_t> BinaryHeader::EntryLength(const std::vector<uint8_t>& bytes,
                                                  uint32_t id) const {
    const EntryLayout layout = LayoutOf(*this);
    const SectionRow* pTable = SymbolTable(*this);
    if (pTable == nullptr || id == 0 || uint64_t{id} * layout.stride > pTable->size ||
        pTable->offset + uint64_t{id} * layout.stride > bytes.size()) {
        return std::nullopt;
    }
    return static_cast<uint32_t>(
        Little(bytes, pTable->offset + uint64_t{id - 1} * layout.stride + layout.lengthAt, 4));
}

std::vector<std::string> BinaryHeader::ModuleNames(const std::vector<uint8_t>& bytes) const {
    const EntryLayout layout = LayoutOf(*this);
    const SectionRow* pTable = SymbolTable(*this);
    std::vector<std::string> names;
    for (uint64_t at = pTable != nullptr ? pTable->offset : 0;
         pTable != nullptr && at + layout.stride <= uint64_t{pTable->offset} + pTable->size &&
         at + layout.stride <= bytes.size();
         at += layout.stride) {
        if (Little(bytes, at + layout.modeAt, 4) != 0xFFFFFFFFu) {
            names.push_back(Text(bytes, at + layout.nameAt, 32));
        }
    }
    return names;
}

BinaryHeader ReadBinaryHeader(const std::vector<uint8_t>& bytes) {
    BinaryHeader header;
    size_t position = kTagWidth;
    header.headerSize = static_cast<uint32_t>(Little(bytes, position, 4));
    header.major = static_cast<uint16_t>(Little(bytes, position + 4, 2));
    header.minor = static_cast<uint16_t>(Little(bytes, position + 6, 2));
    header.patch = static_cast<uint32_t>(Little(bytes, position + 8, 4));
    position += 12;
    if (AtLeast(header, 1, 0, 2)) {
        header.tool = Text(bytes, position, kToolWidth);
        header.binaryTag = Text(bytes, position + kToolWidth, kBinaryTagWidth);
        position += kToolWidth + kBinaryTagWidth;
    }
    if (AtLeast(header, 3, 0, 0)) {
        header.flags = Little(bytes, position, 8);
        position += 8;
    }
    header.alignment = AtLeast(header, 1, 1, 0) && !AtLeast(header, 3, 0, 1) ? 8 : 1;
    const uint32_t tableOffset = static_cast<uint32_t>(Little(bytes, position, 4));
    const uint32_t count = static_cast<uint32_t>(Little(bytes, position + 4, 4));
    const size_t word = std::max<size_t>(4, header.alignment);
    // A loaded binary has 2 to 4 rows; the bound only keeps a damaged count harmless.
    for (uint32_t row = 0; row < count && row < 16; ++row) {
        const size_t at = tableOffset + row * 3 * word;
        header.sections.push_back({static_cast<uint32_t>(Little(bytes, at, 4)),
                                   static_cast<uint32_t>(Little(bytes, at + word, 4)),
                                   static_cast<uint32_t>(Little(bytes, at + 2 * word, 4))});
    }
    if (bytes.size() >= 4) {
        header.storedCrc = static_cast<uint32_t>(Little(bytes, bytes.size() - 4, 4));
        header.computedCrc = ParameterCrc32::Compute(bytes.data(), bytes.size() - 4);
    }
    return header;
}

const char* SectionName(uint32_t type) {
    static const char* const kNames[] = {"symbol table", "data block", "mode section",
                                         "data table"};
    return type < 4 ? kNames[type] : "unknown";
}

}  // namespace zyratune
