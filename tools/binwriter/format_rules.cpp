#include "binwriter/format_rules.h"

namespace binwriter {

uint8_t AlignmentFor(const Version& version) {
    return version >= kFirstAlignedVersion && version < kPackedVersion ? 8 : 1;
}

bool HasToolAndBinaryTag(const Version& version) { return version >= kToolAndTagVersion; }

bool HasFlags(const Version& version) { return version >= kFlagsVersion; }

bool HasReservedSymbolBytes(const Version& version) {
    return AlignmentFor(version) == 1 && version < kPackedVersion;
}

bool HasDuplicateIds(const Version& version) { return version > kPackedVersion; }

bool HasDataTable(const Version& version) { return version >= kDataTableVersion; }

bool HasModePrefix(const Version& version) { return version >= kDataTableVersion; }

bool HasModeLinks(const Version& version) { return version >= kModeLinkVersion; }

bool HasModePins(const Version& version) { return version >= kModePinVersion; }

size_t HeaderSize(const Version& version) {
    constexpr size_t kSizeWidth = 4;
    constexpr size_t kVersionWidth = 8;
    constexpr size_t kFlagsWidth = 8;
    constexpr size_t kSectionFieldsWidth = 4 + 4;  // table offset and section count
    size_t size = kHeaderTagWidth + kSizeWidth + kVersionWidth + kSectionFieldsWidth;
    if (HasToolAndBinaryTag(version)) {
        size += kToolWidth + kBinaryTagWidth;
    }
    if (HasFlags(version)) {
        size += kFlagsWidth;
    }
    return size;
}

size_t DeclaredSymbolEntrySize(const Version& version) {
    if (HasDuplicateIds(version)) {
        return 60;
    }
    if (AlignmentFor(version) != 1) {
        return 76;
    }
    return version == kPackedVersion ? 56 : 64;
}

}  // namespace binwriter
