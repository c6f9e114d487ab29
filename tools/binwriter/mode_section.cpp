#include "binwriter/mode_section.h"

#include "binwriter/byte_writer.h"
#include "binwriter/checked_size.h"
#include "binwriter/format_rules.h"

namespace binwriter {
namespace {

constexpr size_t kU32 = 4;
constexpr size_t kModeWordWidth = 8;

// Mode and submode fill the low half of an 8-byte word; the high half stays zero.
uint64_t ModeWord(const ModeRecord& record) {
    return static_cast<uint64_t>(record.mode) | static_cast<uint64_t>(record.subMode) << 16;
}

}  // namespace

std::vector<uint8_t> EncodeModeSection(const std::vector<ModeRecord>& modes,
                                       const std::string& prefix,
                                       const Version& binaryVersion) {
    ByteWriter writer(AlignmentFor(binaryVersion));
    if (HasModePrefix(binaryVersion)) {
        writer.Text(prefix, kModePrefixWidth);
    }
    for (size_t index = 0; index < modes.size(); ++index) {
        const ModeRecord& record = modes[index];
        uint32_t id = record.idOverride.value_or(ToU32(index));
        writer.Slot(id, kU32);
        writer.Slot(ModeWord(record), kModeWordWidth);
        // A node without parent names itself as its parent.
        writer.Slot(record.parent.value_or(id), kU32);
        if (HasModeLinks(binaryVersion)) {
            writer.Slot(record.link.value_or(kNoLink), kU32);
        }
        if (HasModePins(binaryVersion)) {
            writer.Slot(record.pinned ? 1 : 0, kU32);
        }
    }
    return writer.Release();
}

}  // namespace binwriter
