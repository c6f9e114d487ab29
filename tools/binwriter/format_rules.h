// What a binary's version decides about its layout: the alignment, which fields exist and
// how large the entries of each table are.
#pragma once

#include <cstddef>
#include <cstdint>

#include "binwriter/version.h"

namespace binwriter {

// Versions at which the layout changes.
constexpr Version kToolAndTagVersion{1, 0, 2};  // header gains Tool and BinaryTag
constexpr Version kFirstAlignedVersion{1, 1, 0};  // 8-byte alignment begins
constexpr Version kModeLinkVersion{2, 0, 0};  // mode records gain a link
constexpr Version kFlagsVersion{3, 0, 0};  // header gains flags
constexpr Version kPackedVersion{3, 0, 1};  // alignment back to 1; duplicate ids above it
constexpr Version kDataTableVersion{4, 0, 0};  // data table and mode section prefix
constexpr Version kModePinVersion{5, 0, 0};  // mode records gain the pin flag
constexpr Version kHighestVersion{5, 0, 0};

constexpr char kHeaderTag[] = "OVI Lumatrope Header";
constexpr size_t kHeaderTagWidth = 28;
constexpr size_t kToolWidth = 48;
constexpr size_t kBinaryTagWidth = 64;
constexpr size_t kSymbolNameWidth = 32;
constexpr size_t kModePrefixWidth = 32;
constexpr size_t kCrcTailSize = 4;

// Loading on demand reads this many bytes from the front of a file in one go, so a binary
// shorter than this cannot be loaded from a file.
constexpr size_t kOnDemandHeadSize = 316;

// Marks a symbol entry that is no module, and a mode record without a link.
constexpr uint32_t kNotAModule = 0xFFFFFFFFu;
constexpr uint32_t kNoLink = 0xFFFFFFFFu;
// Bit of the header flags that declares the sections compressed.
constexpr uint64_t kCompressedFlag = 2;

// Packing of everything below the header: a field of width W takes max(W, alignment) bytes.
uint8_t AlignmentFor(const Version& version);

bool HasToolAndBinaryTag(const Version& version);
bool HasFlags(const Version& version);
// Symbol entries of unaligned binaries before the packed version carry 8 unused bytes.
bool HasReservedSymbolBytes(const Version& version);
bool HasDuplicateIds(const Version& version);
bool HasDataTable(const Version& version);
bool HasModePrefix(const Version& version);
bool HasModeLinks(const Version& version);
bool HasModePins(const Version& version);

// Bytes from the start of the file to the end of the header.
size_t HeaderSize(const Version& version);

// The entry size readers divide the symbol table section by. For 8-byte binaries it is 76,
// although each entry's fields take only 72 bytes; the section is padded to match.
size_t DeclaredSymbolEntrySize(const Version& version);

}  // namespace binwriter
