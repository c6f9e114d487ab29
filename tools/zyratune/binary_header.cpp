#include "binary_header.h"

#include <algorithm>
#include <cstring>

#include "little_endian.h"
#include "parser/file/crc32.h"

namespace zyratune {
namespace {

constexpr size_t kTagWidth = 28;
constexpr size_t kToolWidth = 48;
constexpr size_t kBinaryTagWidth = 64;

std::string Text(const std::vector<uint8_t>& bytes, size_t position, size_t width) {
    std::string text;
    for (size_t i = position; i < position + width && i < bytes.size() && bytes[i] != 0; ++i) {
        text.push_back(static_cast<char>(bytes[i]));
    }
    return text;
}

}  // namespace

std::string VersionText(uint64_t major, uint64_t minor, uint64_t patch) {
    return std::to_string(major) + "." + std::to_string(minor) + "." + std::to_string(patch);
}

std::string BinaryHeader::Version() const { return VersionText(major, minor, patch); }

bool BinaryHeader::AtLeast(uint16_t atLeastMajor, uint16_t atLeastMinor,
                           uint32_t atLeastPatch) const {
    if (major != atLeastMajor) return major > atLeastMajor;
    if (minor != atLeastMinor) return minor > atLeastMinor;
    return patch >= atLeastPatch;
}

std::optional<SectionRow> BinaryHeader::Section(uint32_t type) const {
    std::optional<SectionRow> found;
    for (const SectionRow& row : sections) {
        if (row.type == type) found = row;
    }
    return found;
}

BinaryHeader ReadBinaryHeader(const std::vector<uint8_t>& bytes) {
    BinaryHeader header;
    size_t position = kTagWidth;
    header.headerSize = static_cast<uint32_t>(Little(bytes, position, 4));
    header.major = static_cast<uint16_t>(Little(bytes, position + 4, 2));
    header.minor = static_cast<uint16_t>(Little(bytes, position + 6, 2));
    header.patch = static_cast<uint32_t>(Little(bytes, position + 8, 4));
    position += 12;
    if (header.AtLeast(1, 0, 2)) {
        header.tool = Text(bytes, position, kToolWidth);
        header.binaryTag = Text(bytes, position + kToolWidth, kBinaryTagWidth);
        position += kToolWidth + kBinaryTagWidth;
    }
    if (header.AtLeast(3, 0, 0)) {
        header.flags = Little(bytes, position, 8);
        position += 8;
    }
    header.alignment = header.AtLeast(1, 1, 0) && !header.AtLeast(3, 0, 1) ? 8 : 1;
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
