// Reading a binary's container: header, section table and sections, in memory or on demand
// from a file, and filing the modules of its symbol table under their modes.
#include <cstdio>
#include <cstring>

#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/file/parameter_file_symbol_table_entry.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/binary_field_reader.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "parser/setmanager/set_manager_log.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

namespace {

const char kHeaderTag[] = "OVI Lumatrope Header";
constexpr unsigned int kHeaderTagWidth = 28;
constexpr unsigned int kToolWidth = 48;
constexpr unsigned int kBinaryTagWidth = 64;
constexpr unsigned int kMinSections = 2;
constexpr unsigned int kMaxSections = 4;
constexpr uint64_t kCompressedFlag = 2;
constexpr unsigned long kMaxBufferLength = 4294967295UL;
constexpr size_t kMaxFileNameLength = 1023;

const VersionUnion kModeTreeMinVersion(1, 0, 2);
const VersionUnion kFirstAlignedVersion(1, 1, 0);
const VersionUnion kFlagsVersion(3, 0, 0);
const VersionUnion kPackedVersion(3, 0, 1);
const VersionUnion kHighestVersion(5, 0, 0);

const char kFieldReadFailure[] =
    "Failed to read %lld bytes from binary file offset %d, length %d\n";
const char kGeneralHeaderError[] = "General error parsing binary header data header";

// Data were laid out on 8-byte steps only between the first aligned and the packed version.
unsigned char AlignmentOf(const VersionUnion& version) {
    return version >= kFirstAlignedVersion && version < kPackedVersion ? 8 : 1;
}

}  // namespace

bool ParameterSetManager::ReadHeader(unsigned char* pBuffer, unsigned int length,
                                     unsigned int* pPosition, unsigned int* pSectionTableOffset,
                                     unsigned char* pAlignment) {
    if (!ReadHeaderFields(pBuffer, length, length, pPosition, pSectionTableOffset, pAlignment)) {
        return false;
    }
    if (!ParameterBinaryFile::ValidateCRC(pBuffer, length, this)) {
        SetError(m_errorText);
        return false;
    }
    return true;
}

bool ParameterSetManager::ReadHeaderFields(unsigned char* pBuffer, unsigned int length,
                                           unsigned int binaryLength, unsigned int* pPosition,
                                           unsigned int* pSectionTableOffset,
                                           unsigned char* pAlignment) {
    BinaryFieldReader reader(pBuffer, length, *pPosition, this, kFieldReadFailure);
    char* pTag = reader.ReadText(kHeaderTagWidth);
    uint32_t headerSize = 0;
    uint64_t versionWord = 0;
    // Each of these is tried, so that a version is known even when the size is not.
    bool good = reader.Read32(headerSize);
    good = reader.Read(versionWord, sizeof(versionWord)) && good;
    m_binaryVersion = VersionUnion(versionWord);

    if (m_binaryVersion >= kModeTreeMinVersion) {
        char* pTool = reader.ReadText(kToolWidth);
        ZyraFree(m_binaryTag);
        m_binaryTag = reader.ReadText(kBinaryTagWidth);
        LOG_DEBUG("ReadHeader: Version %d.%d.%d BinaryTag: %s, Tool: %s\n", m_binaryVersion.major,
                  m_binaryVersion.minor, static_cast<int>(m_binaryVersion.patch),
                  m_binaryTag != nullptr ? m_binaryTag : "", pTool != nullptr ? pTool : "");
        ZyraFree(pTool);
    } else {
        LOG_DEBUG("ReadHeader: Version %d.%d.%d < ModeTreeMinVersion, BinaryTag not set\n",
                  m_binaryVersion.major, m_binaryVersion.minor,
                  static_cast<int>(m_binaryVersion.patch));
    }

    uint64_t flags = 0;
    uint32_t sectionTableOffset = 0;
    uint32_t sectionCount = 0;
    good = good && (m_binaryVersion < kFlagsVersion || reader.Read(flags, sizeof(flags)));
    good = good && reader.Read32(sectionTableOffset);
    good = good && reader.Read32(sectionCount);
    m_binaryFlags = flags;
    m_sectionCount = sectionCount;
    *pPosition = static_cast<unsigned int>(reader.Position());
    *pSectionTableOffset = sectionTableOffset;
    *pAlignment = AlignmentOf(m_binaryVersion);

    const char* pError = good ? JudgeHeader(pTag, headerSize, binaryLength) : kGeneralHeaderError;
    ZyraFree(pTag);
    if (pError != nullptr) {
        SetError(pError);
        return false;
    }
    return true;
}

const char* ParameterSetManager::JudgeHeader(const char* pTag, uint32_t headerSize,
                                             unsigned int length) {
    if (pTag == nullptr) {
        return "Failed to read binary header tag";
    }
    if (std::strcmp(pTag, kHeaderTag) != 0) {
        std::snprintf(m_errorText, sizeof(m_errorText), "Invalid binary header tag: %s", pTag);
        return m_errorText;
    }
    if (length < headerSize && (m_binaryFlags & kCompressedFlag) == 0) {
        std::snprintf(m_errorText, sizeof(m_errorText),
                      "Binary header data too small: Expected: %d bytes, Actual: %u bytes",
                      static_cast<int>(headerSize), length);
        return m_errorText;
    }
    if (m_binaryVersion < kModeTreeMinVersion) {
        SetError(
            "Warning: This is an older binary format, only Default mode data is supported.\n"
            "To support multiple modes, please re-generate binary using the latest version of "
            "Lumatrope");
    }
    if (m_binaryVersion > kHighestVersion) {
        std::snprintf(m_errorText, sizeof(m_errorText),
                      "Unsupported binary header version : %u.%u.%u. Please re-generate parser "
                      "code using the latest version of ParameterParser",
                      static_cast<unsigned int>(m_binaryVersion.major),
                      static_cast<unsigned int>(m_binaryVersion.minor), m_binaryVersion.patch);
        return m_errorText;
    }
    return nullptr;
}

bool ParameterSetManager::ReadSectionInfo(unsigned char* pBuffer, unsigned int length,
                                          unsigned int* pPosition, unsigned char alignment) {
    if (m_sectionCount < kMinSections) {
        LOG_ERROR("ReadSectionInfo: Section count %d is less than Min sections %d\n",
                  static_cast<int>(m_sectionCount), static_cast<int>(kMinSections));
        return false;
    }
    if (m_sectionCount > kMaxSections) {
        LOG_ERROR("ReadSectionInfo: Section count %d is greater than Max sections %d\n",
                  static_cast<int>(m_sectionCount), static_cast<int>(kMaxSections));
        return false;
    }
    if (pBuffer == nullptr) {
        SetError("ReadSectionInfo: buffer is nullptr");
        return false;
    }
    // A section this table does not list is absent, whatever an earlier attempt read.
    for (SectionInfo& section : m_sections) {
        section = SectionInfo{};
    }
    const unsigned char wordAlignment = alignment > 4 ? alignment : 4;
    BinaryFieldReader reader(pBuffer, length, *pPosition, this, kFieldReadFailure);
    for (uint32_t i = 0; i < m_sectionCount; ++i) {
        uint32_t type = 0;
        SectionInfo section;
        if (!reader.Read32(type, wordAlignment) || !reader.Read32(section.offset, wordAlignment) ||
            !reader.Read32(section.size, wordAlignment)) {
            SetError("Error reading data from header sections");
            m_valid = false;
            return false;
        }
        if (type >= SectionTypeCount) {
            LOG_ERROR("Invalid binary section type %d\n", static_cast<int>(type));
            m_valid = false;
            return false;
        }
        m_sections[type] = section;
    }
    *pPosition = static_cast<unsigned int>(reader.Position());
    return true;
}

bool ParameterSetManager::ReadSections(unsigned char* pBuffer, unsigned int length,
                                       const char* pFileName, ParameterBinaryFile* pFile,
                                       unsigned int fileLength, unsigned int position,
                                       IModeTable* pModeTable, unsigned char alignment) {
    if (!ReadSectionInfo(pBuffer, length, &position, alignment)) {
        SetError("Invalid binary file section count");
        m_valid = false;
        return false;
    }
    if ((m_binaryFlags & kCompressedFlag) != 0) {
        SetError("Compressed binary file not supported (support ended with V5.1.0)");
        m_valid = false;
        return false;
    }
    // From here on the set manager counts as loaded, also when a later step fails.
    m_symbolTable = ParserNew<ParameterFileSymbolTable>(this, m_binaryVersion);
    if (m_symbolTable == nullptr) {
        SetError("ReadSections: Failed to allocate symbol table");
        m_valid = false;
        return false;
    }
    bool result = ReadModeSection(pBuffer, length, pFile, alignment);
    if (!result) {
        return false;
    }

    const SectionInfo& symbols = m_sections[SymbolSection];
    const SectionInfo& data = m_sections[DataSection];
    if (symbols.offset == 0 || symbols.size == 0 || data.offset == 0 || data.size == 0) {
        // Modes without modules are a usable binary.
        LOG_ERROR(
            "ReadModeSection: Binary missing symbol table or data SymbolOffset(%d) && "
            "SymbolSize(%d) && DataOffset(%d) && DataSize(%d)\n",
            static_cast<int>(symbols.offset), static_cast<int>(symbols.size),
            static_cast<int>(data.offset), static_cast<int>(data.size));
        return result;
    }
    const SectionInfo& dataTable = m_sections[DataTableSection];
    result = m_symbolTable->Load(pBuffer, length, pFileName, pFile, fileLength, symbols.size,
                                 symbols.offset, dataTable.size, dataTable.offset, data.size,
                                 data.offset, pModeTable, alignment);
    const bool fromFile = pFile != nullptr;
    if (fromFile) {
        // Entries are read again from the file when asked for; only the lookups stay.
        m_symbolTable->FreeEntryData();
    }
    if (!result) {
        if (!fromFile) {
            m_symbolTable->FreeEntryData();
            m_symbolTable->FreeLookupData();
        }
        return false;
    }
    result = CreateModules();
    if (!fromFile) {
        // A memory load has built everything; the buffer stays the caller's.
        m_symbolTable->FreeEntryData();
        m_symbolTable->FreeLookupData();
    }
    return result;
}

bool ParameterSetManager::CreateModules() {
    bool result = true;
    PList<ModuleData*>& modules = m_symbolTable->GetModules();
    for (uint32_t i = 0; i < modules.Count(); ++i) {
        ModuleData* pData = modules[i];
        ParameterFileSymbolTableEntry entry;
        bool added = m_symbolTable->Find(entry, pData->ID, true);
        if (added) {
            // In file mode only pinned modes are read now; the others wait until asked for.
            const bool load = !IsFileMode() || (pData->Mode != nullptr && pData->Mode->Pinned);
            added = AddModule(pData, CreateModule(&entry, pData, load));
        }
        if (!added) {
            m_valid = false;
            result = false;
        }
    }
    return result;
}

bool ParameterSetManager::LoadBinaryParameters(unsigned char* pBuffer, unsigned long length) {
    LoadBinaryBuffer(pBuffer, length);
    StartDialinWorker();
    return m_valid;
}

bool ParameterSetManager::LoadBinaryBuffer(unsigned char* pBuffer, unsigned long length) {
    LOG_DEBUG("Load Binary Parameters from buffer\n");
    m_valid = false;
    if (m_symbolTable != nullptr) {
        SetError("Binary file already loaded");
        return m_valid;
    }
    if (length > kMaxBufferLength) {
        LOG_ERROR("Buffer length (%llu) exceeds maximum %lu\n",
                  static_cast<unsigned long long>(length), kMaxBufferLength);
        return m_valid;
    }
    const auto length32 = static_cast<unsigned int>(length);
    unsigned int position = 0;
    unsigned int sectionTableOffset = 0;
    unsigned char alignment = 1;
    if (ReadHeader(pBuffer, length32, &position, &sectionTableOffset, &alignment)) {
        m_valid = ReadSections(pBuffer, length32, nullptr, nullptr, 0, sectionTableOffset, this,
                               alignment);
        if (m_valid) {
            LogLoadCompleted();
        }
    }
    return m_valid;
}

bool ParameterSetManager::LoadBinaryParameters(const char* pFileName) {
    if (pFileName == nullptr) {
        SetError("LoadBinaryParameters called with nullptr file name");
        return m_valid;
    }
    const size_t nameLength = std::strlen(pFileName);
    if (nameLength >= kMaxFileNameLength) {
        LOG_ERROR("File name length (%lld) exceeds max file name length of %d\n",
                  static_cast<long long>(nameLength), static_cast<int>(kMaxFileNameLength));
        return m_valid;
    }
    LOG_DEBUG("Load Binary Parameters from file: %s\n", pFileName);
    m_valid = false;
    if (m_symbolTable != nullptr) {
        SetError("Binary file already loaded");
        return m_valid;
    }
    auto* pFile = ParserNew<ParameterBinaryFile>(pFileName, this, true);
    if (pFile == nullptr || !pFile->IsCrcValid()) {
        LOG_ERROR("Failed to load binary file %s\n", pFileName);
        ParserDelete(pFile);
        return m_valid;
    }
    const unsigned int fileSize = pFile->FileSize();
    // On demand only the header is needed from this read: the CRC is checked on the file.
    const unsigned int readSize =
        m_onDemand && fileSize > kOnDemandHeaderSize ? kOnDemandHeaderSize : fileSize;
    unsigned char* pBuffer = pFile->Read(0, readSize);
    if (pBuffer == nullptr) {
        SetError("Unable to allocate space to read binary file");
    } else if (m_onDemand) {
        LoadOnDemand(pFileName, pFile, pBuffer, readSize);
    } else {
        LoadBinaryBuffer(pBuffer, fileSize);
        ZyraFree(pBuffer);
    }

    if (m_symbolTable != nullptr) {
        // The file stays open only while modules are being read from it.
        m_symbolTable->FileReference(-1);
    }
    if (m_symbolTable != nullptr && m_onDemand) {
        m_pBinaryFile = pFile;
    } else {
        // Nothing will read from the file again.
        ParserDelete(pFile);
    }
    StartDialinWorker();
    return m_valid;
}

void ParameterSetManager::LoadOnDemand(const char* pFileName, ParameterBinaryFile* pFile,
                                       unsigned char* pHeader, unsigned int headerLength) {
    unsigned int position = 0;
    unsigned int sectionTableOffset = 0;
    unsigned char alignment = 1;
    const unsigned int fileSize = pFile->FileSize();
    Zyra::OsUtils::StrLCpy(m_fileName, pFileName, sizeof(m_fileName));
    bool headerRead = ReadHeaderFields(pHeader, headerLength, fileSize, &position,
                                       &sectionTableOffset, &alignment);
    ZyraFree(pHeader);
    // The CRC once more, as a load from memory takes it, but read from the file piece by piece.
    if (headerRead && !pFile->ValidateCRC()) {
        SetError(m_errorText);
        headerRead = false;
    }
    if (!headerRead) {
        return;
    }
    unsigned char* pHead = pFile->Read(0, kOnDemandHeaderSize);
    if (pHead == nullptr) {
        LOG_ERROR("Failed to read %d bytes from binary file %s\n",
                  static_cast<int>(kOnDemandHeaderSize), pFileName);
        return;
    }
    if ((m_binaryFlags & kCompressedFlag) != 0) {
        LOG_ERROR("Compressed binary files ssupport removed in V5.1.0\n");
        m_valid = false;
    } else {
        m_valid = ReadSections(pHead, kOnDemandHeaderSize, m_fileName, pFile, fileSize,
                               sectionTableOffset, this, alignment);
        if (m_valid) {
            LogLoadCompleted();
        }
    }
    ZyraFree(pHead);
}

void ParameterSetManager::LogLoadCompleted() {
    LOG_DEBUG("Load Binary Parameters completed: Binary Version: %d.%d.%d\n", m_binaryVersion.major,
              m_binaryVersion.minor, static_cast<int>(m_binaryVersion.patch));
}

ParameterModule* ParameterSetManager::CreateModule(const ParameterFileSymbolTableEntry* pEntry,
                                                   ModuleData* pData, bool load) {
    if (pData == nullptr) {
        return nullptr;
    }
    DefaultModule* pDefault = GetDefaultModule(pData->Type);
    if (pDefault == nullptr) {
        if (!m_ignoreMissingModules) {
            SetError("Failed to find header module: ", pData);
        }
        return nullptr;
    }
    ParameterModule* pModule = pDefault->Prototype->Create(pData, pDefault);
    if (pModule != nullptr && (pModule->Name == nullptr || pModule->Type == nullptr)) {
        // Memory for its texts ran out: filed by a name or type it lacks, it would be found
        // by no lookup and given back by no owner.
        pDefault->RemoveModule(pModule);
        delete pModule;
        pModule = nullptr;
    }
    if (pModule == nullptr) {
        SetError("Failed to parse binary header data for: ", pData);
        return nullptr;
    }
    if (load && pEntry != nullptr) {
        // A module that fails to load stays filed; asking for it later tries again.
        pModule->LoadModule(pEntry->GetTable());
    }
    return pModule;
}

bool ParameterSetManager::AddModule(const ModuleData* pData, ParameterModule* pModule) {
    if (m_rootMode == nullptr) {
        SetError("AddModule: m_rootMode is nullptr");
        return false;
    }
    if (pModule == nullptr) {
        if (!m_ignoreMissingModules) {
            SetError("AddModule: module is nullptr");
        }
        return false;
    }
    const uint32_t modeId = pData != nullptr ? pData->ModeId : m_modeCount;
    if (modeId >= m_modeCount) {
        LOG_ERROR("AddModule: moduleData->ModeId(%d) >= m_modeCount(%d)", static_cast<int>(modeId),
                  static_cast<int>(m_modeCount));
        return false;
    }
    // A mode table may leave an id without a node when the binary lists another id twice.
    if (m_modes[modeId] == nullptr) {
        LOG_ERROR("AddModule: moduleData->ModeId(%d) has no mode", static_cast<int>(modeId));
        return false;
    }
    return m_modes[modeId]->AddModule(pModule);
}
