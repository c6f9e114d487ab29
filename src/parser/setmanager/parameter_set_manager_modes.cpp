// The mode table of a binary and the tree it forms: reading it, and finding nodes by id, by
// branch and by text path.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <vector>

#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/binary_field_reader.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "parser/setmanager/set_manager_log.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

namespace {

const VersionUnion kModeLinkVersion(2, 0, 0);
const VersionUnion kDataTableVersion(4, 0, 0);
const VersionUnion kModePinVersion(5, 0, 0);
// From the data table version on, the records follow a 32-byte text that nothing uses.
constexpr uint32_t kModePrefixSize = 32;
constexpr uint32_t kNoLink = 0xFFFFFFFFu;
// Modes below Usecase (Default and Sensor) are always kept in memory.
constexpr uint16_t kFirstTrackedMode = 2;
constexpr unsigned int kModePathSize = 128;
constexpr unsigned int kActiveModesSize = 1024;

const char kRecordReadFailure[] = "Failed to read %lld bytes from binary file offset %d, length %d";

// The first id of a record that does not name an entry of the table.
const char* RecordProblem(uint32_t id, uint32_t parentId, uint32_t linkId, uint32_t count) {
    if (id >= count) {
        return "ReadModeSection: Mode ID exceeds mode count";
    }
    if (parentId >= count) {
        return "ReadModeSection: Parent Mode ID exceeds mode count";
    }
    if (linkId != kNoLink && linkId >= count) {
        return "ReadModeSection: Link Mode ID exceeds mode count";
    }
    return nullptr;
}

// Writes the child list of GetChildModes; a piece that does not fit, with room for the
// terminator, is logged and left out.
class ChildListWriter {
public:
    ChildListWriter(unsigned char* pText, unsigned int size, IParameterLoggingAPI* pLogging)
        : m_pText(pText), m_size(size), m_pLogging(pLogging) {}

    void Write(const char* pPiece) {
        const size_t length = std::strlen(pPiece);
        if (m_position + length + 1 > m_size) {
            ParameterLogging::Write(m_pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                    "Failed to write %lld bytes to binary offset %d, length %d",
                                    static_cast<long long>(length), static_cast<int>(m_position),
                                    static_cast<int>(m_size));
            return;
        }
        std::memcpy(m_pText + m_position, pPiece, length);
        m_position += static_cast<unsigned int>(length);
    }

    void WriteNumber(unsigned int value) {
        char number[16];
        std::snprintf(number, sizeof(number), "%u", value);
        Write(number);
    }

    // A mode or SubMode is written by its name where it has one, else by its number.
    void WriteNameOrNumber(const char* pName, unsigned int value) {
        if (pName != nullptr) {
            Write(pName);
        } else {
            WriteNumber(value);
        }
    }

    // Terminates the text; returns the bytes written with the terminator.
    unsigned int Finish() {
        m_pText[m_position] = '\0';
        return m_position + 1;
    }

private:
    unsigned char* m_pText;
    unsigned int m_size;
    unsigned int m_position = 0;
    IParameterLoggingAPI* m_pLogging;
};

}  // namespace

bool ParameterSetManager::ReadModeSection(unsigned char* pBuffer, unsigned int length,
                                          ParameterBinaryFile* pFile, unsigned char alignment) {
    const SectionInfo& section = m_sections[ModeSection];
    if (section.offset == 0 || section.size == 0) {
        LOG_DEBUG(
            "ReadModeSection: No mode table in binary, ModeOffset(%d) ModeSize(%d), "
            "creating default",
            static_cast<int>(section.offset), static_cast<int>(section.size));
        return MakeDefaultModeTable();
    }

    // Sizes in 64 bits: a section smaller than its prefix must not wrap into a huge count.
    const uint64_t prefix = m_binaryVersion >= kDataTableVersion ? kModePrefixSize : 0;
    const uint64_t recordSize =
        m_symbolTable != nullptr ? m_symbolTable->GetModeEntrySize(alignment) : 0;
    const uint64_t count =
        recordSize != 0 && section.size >= prefix ? (section.size - prefix) / recordSize : 0;
    const uint64_t expected = prefix + count * recordSize;
    if (expected != section.size) {
        LOG_ERROR("ReadModeSection: ModeSize %d does not match expected size %d",
                  static_cast<int>(section.size), static_cast<int>(expected));
        return false;
    }

    // The bytes are found before the table is allocated, so that its size is bounded by them.
    unsigned char* pFileBytes = nullptr;
    const unsigned char* pSource = pBuffer;
    unsigned int limit = length;
    unsigned int position = section.offset;
    if (pFile != nullptr) {
        pFileBytes = pFile->Read(section.offset, section.size);
        if (pFileBytes == nullptr) {
            LOG_ERROR("ReadModeSection: Failed to read %d bytes for mode table from binary file",
                      static_cast<int>(section.size));
            SetError("ReadModeSection: Failed, buffer is nullptr");
            return false;
        }
        pSource = pFileBytes;
        limit = section.size;
        position = 0;
    } else if (pBuffer == nullptr) {
        SetError("ReadModeSection: Failed, buffer is nullptr");
        return false;
    } else if (length == 0) {
        SetError("ReadModeSection: Failed, buffer length is 0");
        return false;
    } else if (static_cast<uint64_t>(section.offset) + section.size > length) {
        LOG_ERROR(kRecordReadFailure, static_cast<long long>(section.size),
                  static_cast<int>(section.offset), static_cast<int>(length));
        return false;
    }

    bool result = false;
    m_modes = static_cast<ModeEntry**>(ZyraCalloc(count, sizeof(ModeEntry*), kParserAllocCategory));
    if (m_modes != nullptr || count == 0) {
        m_modeCount = static_cast<uint32_t>(count);
        BinaryFieldReader reader(pSource, limit, position, this, kRecordReadFailure);
        result =
            (prefix == 0 || reader.Skip(kModePrefixSize)) && ReadModeRecords(reader, alignment);
    } else {
        LOG_ERROR("ReadModeSection: Failed to allocate %d mode entries", static_cast<int>(count));
    }
    ZyraFree(pFileBytes);
    return result;
}

bool ParameterSetManager::MakeDefaultModeTable() {
    m_modes = static_cast<ModeEntry**>(ZyraCalloc(1, sizeof(ModeEntry*), kParserAllocCategory));
    if (m_modes == nullptr) {
        LOG_ERROR("ReadModeSection: Failed to allocate %d mode entries", 1);
        return false;
    }
    m_rootMode = ParserNew<ModeEntry>(true, true);
    if (m_rootMode == nullptr) {
        ZyraFree(m_modes);
        m_modes = nullptr;
        LOG_ERROR("ReadModeSection: Failed to allocate %d mode entries", 1);
        return false;
    }
    m_rootMode->Initialize(0, 0, 0, nullptr);
    m_modes[0] = m_rootMode;
    m_modeCount = 1;
    return true;
}

bool ParameterSetManager::ReadModeRecords(BinaryFieldReader& reader, unsigned char alignment) {
    const bool hasLink = m_binaryVersion >= kModeLinkVersion;
    const bool hasPin = m_binaryVersion >= kModePinVersion;
    bool result = true;
    for (uint32_t i = 0; i < m_modeCount; ++i) {
        uint32_t id = 0;
        uint64_t modeWord = 0;
        uint32_t parentId = 0;
        uint32_t linkId = kNoLink;
        uint32_t pin = 0;
        // The first field that does not fit ends the record and, after it, the table.
        const bool complete =
            reader.Read32(id, alignment) && reader.Read(modeWord, sizeof(modeWord), alignment) &&
            reader.Read32(parentId, alignment) && (!hasLink || reader.Read32(linkId, alignment)) &&
            (!hasPin || reader.Read32(pin, alignment));
        const char* pProblem = RecordProblem(id, parentId, linkId, m_modeCount);
        // The upper 32 bits of the mode word are carried in the file but mean nothing.
        const ModeUnion mode(static_cast<uint32_t>(modeWord));
        if (pProblem != nullptr) {
            SetError(pProblem);
            result = false;
        } else if (!PlaceMode(id, mode, parentId, linkId, (pin & 1) != 0)) {
            LOG_ERROR("ReadModeSection: Failed to allocate %d mode entries", 1);
            result = false;
        }
        if (!complete) {
            return false;
        }
    }
    return result;
}

bool ParameterSetManager::PlaceMode(uint32_t id, const ModeUnion& mode, uint32_t parentId,
                                    uint32_t linkId, bool pinned) {
    // A parent listed after its child is not there yet; the child then stays out of the tree.
    ModeEntry* pParent = parentId != id ? m_modes[parentId] : nullptr;
    if (pParent != nullptr && pParent->Mode.mode == mode.mode &&
        pParent->Mode.subMode == mode.subMode) {
        // A record repeating its parent's mode gives that node a second id.
        m_modes[id] = pParent;
        return true;
    }
    auto* pNode = ParserNew<ModeEntry>(!IsFileMode(), pinned);
    if (pNode == nullptr) {
        return false;
    }
    pNode->Initialize(id, mode, linkId != kNoLink ? &m_modes[linkId] : nullptr);
    if (m_rootMode == nullptr) {
        m_rootMode = pNode;
        pNode->Loaded = true;
        pNode->Pinned = true;
    } else if (pParent != nullptr) {
        pParent->AddMode(pNode);
    } else if (!m_detachedModes.Insert(m_detachedModes.Count(), pNode)) {
        // A node is kept only where it can be freed again.
        ParserDelete(pNode);
        return false;
    }
    if (mode.mode < kFirstTrackedMode) {
        pNode->Loaded = true;
        pNode->Pinned = true;
    }
    m_modes[id] = pNode;
    return true;
}

ModeEntry* ParameterSetManager::GetModeEntry(unsigned int id) {
    ParameterMutexLock lock(&m_dataLock, true);
    return id < m_modeCount ? m_modes[id] : nullptr;
}

ModeEntry* ParameterSetManager::GetModeEntry(const char* pModePath) {
    PList<TuningMode> branch;
    if (pModePath == nullptr || !GetModeBranchFromPath(pModePath, branch)) {
        return nullptr;
    }
    return GetModeEntry(&branch[0], branch.Count());
}

ModeEntry* ParameterSetManager::GetModeEntry(const TuningMode* pBranch, unsigned int count) {
    ParameterMutexLock lock(&m_dataLock, true);
    if (m_rootMode != nullptr && IsFileMode()) {
        // The live tuning service asks for a mode to work on it: its modules come in.
        LoadMode(pBranch, count, "Dialin->GetModeEntry");
    }
    ModeEntry* pMode = m_rootMode;
    if (pMode == nullptr || pBranch == nullptr) {
        return pMode;
    }
    // Step 0 stands for the root.
    for (unsigned int step = 1; step < count && pMode != nullptr;) {
        const unsigned int groupLength = GroupLength(pBranch, count, step);
        pMode = pMode->FindMode(&pBranch[step], groupLength, 0);
        step += groupLength;
    }
    return pMode;
}

unsigned int ParameterSetManager::GroupLength(const TuningMode* pBranch, unsigned int count,
                                              unsigned int start) {
    unsigned int end = start + 1;
    while (end < count && pBranch[end].Mode == pBranch[start].Mode) {
        ++end;
    }
    return end - start;
}

unsigned int ParameterSetManager::GetChildModes(const char* pModePath, unsigned char* pText,
                                                unsigned int size) {
    if (pText == nullptr || size == 0) {
        return 0;
    }
    ModeEntry* pMode = GetModeEntry(pModePath);
    if (pMode == nullptr) {
        pMode = GetModeEntry(0u);
    }
    ChildListWriter writer(pText, size, this);
    // The node's own children: a link is not followed here.
    for (ModeEntry* pChild = pMode != nullptr ? pMode->FirstChild : nullptr; pChild != nullptr;
         pChild = pChild->NextSibling) {
        if (pChild != pMode->FirstChild) {
            writer.Write(",");
        }
        writer.WriteNameOrNumber(pChild->GetModeName(), pChild->Mode.mode);
        if (pChild->Mode.mode != 0) {
            writer.Write(".");
            writer.WriteNameOrNumber(pChild->GetSubModeName(), pChild->Mode.subMode);
        }
    }
    return writer.Finish();
}

bool ParameterSetManager::GetActiveModes(char* pText, unsigned int size) {
    if (pText == nullptr || size == 0) {
        return false;
    }
    ParameterMutexLock lock(IsFileMode() ? &m_loadLock : nullptr, false);
    SortActiveModes();
    pText[0] = '\0';
    std::vector<ModeEntry*> listed;
    // One-way: pinned modes count only while no inactive mode has been passed.
    bool passedInactive = false;
    for (uint32_t i = 0; i < m_activeModes.Count(); ++i) {
        ModeEntry* pMode = m_activeModes[i];
        if (!pMode->IsActive()) {
            passedInactive = true;
            continue;
        }
        if (pMode->Pinned && passedInactive) {
            continue;
        }
        // A deeper mode stands for its ancestors; an ancestor of a listed mode adds nothing.
        auto ancestor = std::find_if(listed.begin(), listed.end(), [pMode](ModeEntry* pListed) {
            return pMode->IsParent(pListed);
        });
        if (ancestor != listed.end()) {
            *ancestor = pMode;
            continue;
        }
        if (std::none_of(listed.begin(), listed.end(),
                         [pMode](ModeEntry* pListed) { return pListed->IsParent(pMode); })) {
            listed.push_back(pMode);
        }
    }

    char paths[kActiveModesSize] = "";
    for (size_t i = 0; i < listed.size(); ++i) {
        char path[kModePathSize] = "";
        listed[i]->GetModePath(path, sizeof(path));
        if (i != 0) {
            Zyra::OsUtils::StrLCat(paths, ";", sizeof(paths));
        }
        Zyra::OsUtils::StrLCat(paths, path, sizeof(paths));
    }
    GetDialinModesString(paths, pText, size);
    return true;
}
