#include "parser/file/parameter_file_symbol_table.h"

#include <new>

#include "parser/file/binary_value.h"
#include "parser/file/dup_obj_info.h"
#include "parser/file/parameter_binary_file.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"

namespace {

// Versions at which the layout of the tables changes.
const VersionUnion kModeLinkVersion(2, 0, 0);
const VersionUnion kPackedVersion(3, 0, 1);
const VersionUnion kDataTableVersion(4, 0, 0);
const VersionUnion kModePinVersion(5, 0, 0);

const char* Text(const char* pText) { return pText != nullptr ? pText : ""; }

}  // namespace

#define LOG_ERROR(...) \
    ParameterLogging::Write(Logger(), ParameterLogging::Error, __FILE__, __LINE__, __VA_ARGS__)
#define LOG_DEBUG(...) \
    ParameterLogging::Write(Logger(), ParameterLogging::Debug, __FILE__, __LINE__, __VA_ARGS__)

ParameterFileSymbolTable::ParameterFileSymbolTable(ParameterSetManager* pSetManager,
                                                   const VersionUnion& version)
    : m_pSetManager(pSetManager), m_version(version) {}

ParameterFileSymbolTable::~ParameterFileSymbolTable() {
    FreeEntryData();
    FreeLookupData();
    for (uint32_t i = 0; i < m_modules.Count(); ++i) {
        ParserDelete(m_modules[i]);
    }
    FreeDupLists(m_pSymbolDupLists, m_symbolDupListCount);
    FreeDupLists(m_pDataDupLists, m_dataDupListCount);
}

IParameterLoggingAPI* ParameterFileSymbolTable::Logger() const { return m_pSetManager; }

unsigned int ParameterFileSymbolTable::TableOffset(bool isModule) const {
    return !isModule && HasDataTable() ? m_dataTableOffset : m_symbolOffset;
}

bool ParameterFileSymbolTable::HasDuplicateIds() const { return m_version > kPackedVersion; }

bool ParameterFileSymbolTable::HasReservedSymbolBytes(unsigned char alignment) const {
    return alignment == 1 && m_version < kPackedVersion;
}

unsigned int ParameterFileSymbolTable::GetSymbolEntrySize(unsigned char alignment) const {
    if (m_version > kPackedVersion) {
        return 60;
    }
    // The 8-byte layout is declared as 76 bytes, although its fields take 72.
    if (alignment != 1) {
        return 76;
    }
    return m_version == kPackedVersion ? 56 : 64;
}

unsigned int ParameterFileSymbolTable::GetDataTableEntrySize() const {
    return m_version >= kDataTableVersion ? 16 : 0;
}

unsigned int ParameterFileSymbolTable::GetModeEntrySize(unsigned char alignment) const {
    if (alignment != 1) {
        return m_version >= kModeLinkVersion ? 32 : 24;
    }
    if (m_version >= kModePinVersion) {
        return 24;
    }
    return m_version >= kPackedVersion ? 20 : 16;
}

bool ParameterFileSymbolTable::Load(unsigned char* pBuffer, unsigned int length,
                                    const char* pFileName, ParameterBinaryFile* pFile,
                                    unsigned int fileLength, unsigned int symbolSize,
                                    unsigned int symbolOffset, unsigned int dataTableSize,
                                    unsigned int dataTableOffset, unsigned int /*dataSize*/,
                                    unsigned int dataOffset, IModeTable* pModeTable,
                                    unsigned char alignment) {
    // Kept whatever fails below, so that the loader's file reference can be given back
    // through this table.
    m_pFileName = pFileName;
    m_pFile = pFile;
    m_pModeTable = pModeTable;
    m_alignment = alignment;
    m_symbolOffset = symbolOffset;
    m_dataTableSize = dataTableSize;
    m_dataTableOffset = dataTableOffset;
    m_dataOffset = dataOffset;

    unsigned int symbolEntrySize = GetSymbolEntrySize(alignment);
    m_symbolCount = symbolSize / symbolEntrySize;
    if (symbolSize % symbolEntrySize != 0) {
        LOG_ERROR("Invalid symbol table size: %d, expected: %d\n", symbolSize,
                  m_symbolCount * symbolEntrySize);
        return false;
    }
    if (HasDataTable()) {
        unsigned int dataEntrySize = GetDataTableEntrySize();
        if (dataEntrySize == 0) {
            LOG_ERROR("Data table entry size is zero\n");
        } else {
            m_dataCount = dataTableSize / dataEntrySize;
            if (dataTableSize % dataEntrySize != 0) {
                LOG_ERROR("Invalid data table size: %d, expected: %d\n", dataTableSize,
                          m_dataCount * dataEntrySize);
                return false;
            }
        }
    }

    // The counts size the arrays below, so a section must lie within its source first.
    uint64_t sourceLength = pFile != nullptr ? fileLength : length;
    if (!SectionWithin(true, symbolOffset, symbolSize, sourceLength) ||
        (HasDataTable() && !SectionWithin(false, dataTableOffset, dataTableSize, sourceLength))) {
        return false;
    }
    if (!AllocateTables()) {
        LOG_ERROR("Failed to allocate entry/lookup tables\n");
        return false;
    }
    if (pFile != nullptr) {
        return ReadSectionFromFile(true, symbolOffset, symbolSize) &&
               (!HasDataTable() || ReadSectionFromFile(false, dataTableOffset, dataTableSize));
    }
    if (pBuffer == nullptr || !ReadTable(pBuffer, length, symbolOffset, true)) {
        LogTableReadFailure(true, symbolOffset, symbolSize);
        return false;
    }
    if (HasDataTable() && !ReadTable(pBuffer, length, dataTableOffset, false)) {
        LogTableReadFailure(false, dataTableOffset, dataTableSize);
        return false;
    }
    return true;
}

bool ParameterFileSymbolTable::SectionWithin(bool isModule, unsigned int offset,
                                             unsigned int size, uint64_t sourceLength) {
    if (static_cast<uint64_t>(offset) + size <= sourceLength) {
        return true;
    }
    if (m_pFile == nullptr) {
        BinaryValue::LogShortRead(size, offset, sourceLength, Logger());
    }
    LogTableReadFailure(isModule, offset, size);
    return false;
}

void ParameterFileSymbolTable::LogTableReadFailure(bool isModule, unsigned int offset,
                                                   unsigned int size) const {
    if (m_pFile == nullptr) {
        if (isModule) {
            LOG_ERROR("Failed to read symbol table from binary file\n");
        } else {
            LOG_ERROR("Failed to read data table from binary file\n");
        }
    } else if (isModule) {
        LOG_ERROR("Failed to read symbol table buffer (offset: %d, size: %d) from binary file\n",
                  offset, size);
    } else {
        LOG_ERROR("Failed to read data table buffer (offset: %d, size: %d) from binary file\n",
                  offset, size);
    }
}

bool ParameterFileSymbolTable::AllocateTables() {
    m_pSymbolEntries = ParserNewArray<ParameterFileSymbolTableEntry>(m_symbolCount + 1ull);
    m_pSymbolLookup = static_cast<EntryData*>(
        ZyraCalloc(m_symbolCount + 1ull, sizeof(EntryData), kParserAllocCategory));
    if (!HasDataTable()) {
        return m_pSymbolEntries != nullptr && m_pSymbolLookup != nullptr;
    }
    m_pDataEntries = ParserNewArray<ParameterFileSymbolTableEntry>(m_dataCount + 1ull);
    m_pDataLookup = static_cast<EntryData*>(
        ZyraCalloc(m_dataCount + 1ull, sizeof(EntryData), kParserAllocCategory));
    return m_pSymbolEntries != nullptr && m_pSymbolLookup != nullptr &&
           m_pDataEntries != nullptr && m_pDataLookup != nullptr;
}

bool ParameterFileSymbolTable::ReadSectionFromFile(bool isModule, unsigned int offset,
                                                   unsigned int size) {
    if (View(isModule).count == 0) {
        return true;
    }
    unsigned char* pSection = m_pFile->Read(offset, size);
    if (pSection == nullptr) {
        LogTableReadFailure(isModule, offset, size);
        return false;
    }
    m_readingEntriesFromFile = true;
    bool read = ReadTable(pSection, size, 0, isModule);
    m_readingEntriesFromFile = false;
    ZyraFree(pSection);
    return read;
}

bool ParameterFileSymbolTable::ReadTable(unsigned char* pBuffer, unsigned int length,
                                         unsigned int position, bool isModule) {
    TableView table = View(isModule);
    // Entries per duplicate id, and then the group of each duplicate id.
    auto* pDupCounts = static_cast<uint32_t*>(
        ZyraCalloc(table.count + 1ull, sizeof(uint32_t), kParserAllocCategory));
    if (pDupCounts == nullptr) {
        LOG_ERROR("Failed to allocate space for duplicates variable\n");
        return true;
    }
    table.pEntries[0].Init(this);
    table.pLookup[0] = {};

    bool read = true;
    unsigned int idSlot = BinaryValue::Slot(sizeof(uint32_t), m_alignment);
    for (uint32_t i = 0; i < table.count && read; ++i) {
        uint32_t id = 0;
        unsigned int idPosition = position;
        if (!BinaryValue::Read(&id, sizeof(id), idSlot, pBuffer, length, &idPosition, Logger(),
                               true)) {
            LOG_ERROR("Failed to read entry ID from Symbol table\n");
            read = false;
        } else if (id == 0 || id > table.count) {
            // The position stays, so every later turn meets this id again.
            LOG_ERROR("Symbol table entry ID %d out of range 1 - %d\n", id, table.count);
        } else {
            table.pLookup[id].offset = position;
            ParameterFileSymbolTableEntry& entry = table.pEntries[id];
            entry.Init(this);
            read = entry.Load(pBuffer, m_pFileName, m_pFile, length, &position, m_dataOffset,
                              m_pModeTable, isModule, m_alignment);
            if (read && entry.m_duplicateId <= table.count) {
                ++pDupCounts[entry.m_duplicateId];
            }
        }
    }
    if (read) {
        BuildDupGroups(isModule, pDupCounts);
        if (isModule) {
            CollectModules();
        }
    } else {
        (isModule ? m_symbolDupListCount : m_dataDupListCount) = 1;
    }
    ZyraFree(pDupCounts);
    return read;
}

void ParameterFileSymbolTable::BuildDupGroups(bool isModule, uint32_t* pDupCounts) {
    TableView table = View(isModule);
    // Groups are numbered from 1 in rising order of duplicate id; id 0 names no entry.
    uint32_t groups = 0;
    pDupCounts[0] = 0;
    for (uint32_t dup = 1; dup <= table.count; ++dup) {
        pDupCounts[dup] = pDupCounts[dup] > 1 ? ++groups : 0;
    }
    PList<DupObjInfo*>*& pLists = isModule ? m_pSymbolDupLists : m_pDataDupLists;
    if (groups > 0) {
        pLists = ParserNewArray<PList<DupObjInfo*>>(groups + 1ull);
        if (pLists == nullptr) {
            // Without lists nothing is shared, and every entry keeps its own objects.
            LOG_ERROR("Failed to allocate space for duplicates variable\n");
            groups = 0;
        }
    }
    (isModule ? m_symbolDupListCount : m_dataDupListCount) = groups + 1;
    for (uint32_t id = 1; id <= table.count; ++id) {
        uint32_t dup = table.pEntries[id].m_duplicateId;
        table.pLookup[id].dup = groups > 0 && dup <= table.count ? pDupCounts[dup] : 0;
    }
}

void ParameterFileSymbolTable::CollectModules() {
    TableView table = View(true);
    for (uint32_t id = 1; id <= table.count; ++id) {
        ParameterFileSymbolTableEntry& entry = table.pEntries[id];
        if (entry.m_pModuleData == nullptr) {
            continue;
        }
        if (!m_modules.Insert(m_modules.Count(), entry.m_pModuleData)) {
            ParserDelete(entry.m_pModuleData);
        }
        entry.m_pModuleData = nullptr;
        entry.m_ownsModuleData = false;
    }
}

bool ParameterFileSymbolTable::Find(ParameterFileSymbolTableEntry& entry, unsigned int id,
                                    bool isModule) {
    TableView table = View(isModule);
    if (m_pSetManager == nullptr || id == 0 || id > table.count) {
        LOG_ERROR("Find: Symbol table entry ID %d out of range 1 - %d\n", id, table.count);
        return false;
    }
    if (table.pEntries != nullptr) {
        entry.ViewOf(table.pEntries[id]);
        return true;
    }
    // A table loaded from memory has dropped its entries for good.
    if (m_pFileName == nullptr || table.pLookup == nullptr) {
        return false;
    }
    ParameterMutexLock lock(&m_pSetManager->GetLoadLock(), true);
    FileReference(1);
    bool found = false;
    if (m_pFile != nullptr) {
        entry.Init(this);
        unsigned int position = table.pLookup[id].offset;
        found = entry.Load(nullptr, m_pFileName, m_pFile, 0, &position, m_dataOffset,
                           m_pModeTable, isModule, m_alignment);
    }
    FileReference(-1);
    return found;
}

bool ParameterFileSymbolTable::ReadPointerEntry(ParameterFileSymbolTableEntry& result,
                                                ParameterFileSymbolTableEntry* pEntry,
                                                unsigned char alignment) {
    uint32_t id = 0;
    if (pEntry == nullptr || !pEntry->Read(&id, alignment)) {
        return false;
    }
    return Find(result, id, false);
}

void ParameterFileSymbolTable::FileReference(int adjust) {
    if (m_pFile == nullptr) {
        LOG_DEBUG("FileReference called with null File object, Adjust: %d\n", adjust);
        return;
    }
    m_pFile->Reference(adjust);
}

void ParameterFileSymbolTable::FreeEntryData() {
    ParserDeleteArray(m_pSymbolEntries, m_symbolCount + 1ull);
    ParserDeleteArray(m_pDataEntries, m_dataCount + 1ull);
    m_pSymbolEntries = nullptr;
    m_pDataEntries = nullptr;
}

void ParameterFileSymbolTable::FreeLookupData() {
    ZyraFree(m_pSymbolLookup);
    ZyraFree(m_pDataLookup);
    m_pSymbolLookup = nullptr;
    m_pDataLookup = nullptr;
}

void ParameterFileSymbolTable::FreeDupLists(PList<DupObjInfo*>*& pLists, uint32_t& count) {
    if (pLists != nullptr) {
        for (uint32_t group = 0; group < count; ++group) {
            PList<DupObjInfo*>& list = pLists[group];
            while (list.Count() > 0) {
                uint32_t last = list.Count() - 1;
                ParserDelete(list[last]);
                list.Remove(last);
            }
        }
        ParserDeleteArray(pLists, count);
    }
    pLists = nullptr;
    count = 0;
}

DupObjInfo* ParameterFileSymbolTable::GetDupObject(bool isModule, unsigned int id,
                                                   unsigned int count, const char* pFile,
                                                   int line) {
    TableView table = View(isModule);
    if (table.pLookup == nullptr || id > table.count) {
        LOG_ERROR("GetDupObject called with invalid values, This: %p, IsModule: %d, ID: %u, "
                  "DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, Loc: %s:%d\n",
                  static_cast<void*>(this), isModule, id, table.dupListCount, table.count,
                  static_cast<void*>(table.pDupLists), static_cast<void*>(table.pLookup),
                  Text(pFile), line);
        return nullptr;
    }
    uint32_t group = table.pLookup[id].dup;
    if (group == 0) {
        return nullptr;
    }
    if (table.pDupLists == nullptr || group >= table.dupListCount) {
        LOG_ERROR("GetDupObject called with invalid values, This: %p, IsModule: %d, ID: %u, "
                  "DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, "
                  "EntryLookup[id].Dup: %u, Loc: %s:%d\n",
                  static_cast<void*>(this), isModule, id, table.dupListCount, table.count,
                  static_cast<void*>(table.pDupLists), static_cast<void*>(table.pLookup), group,
                  Text(pFile), line);
        return nullptr;
    }

    ParameterMutexLock lock(&m_dupLock, true);
    PList<DupObjInfo*>& list = table.pDupLists[group];
    for (uint32_t i = 0; i < list.Count(); ++i) {
        DupObjInfo* pInfo = list[i];
        if (!pInfo->IsSite(pFile, line)) {
            continue;
        }
        if (pInfo->m_count != count) {
            LOG_DEBUG("GetDupObject found duplicate objects with differing counts: IsModule: %d, "
                      "ID: %u, Count: %u, Found: %u, Loc: %s:%d\n",
                      isModule, id, count, pInfo->m_count, Text(pFile), line);
            continue;
        }
        if (pInfo->m_pObject != nullptr) {
            ++pInfo->m_refCount;
        }
        return pInfo;
    }
    return nullptr;
}

DupObjInfo* ParameterFileSymbolTable::SetDupObject(bool isModule, unsigned int id,
                                                   void* pObject, unsigned int count,
                                                   const char* pFile, int line) {
    TableView table = View(isModule);
    bool known = table.pLookup != nullptr && id <= table.count;
    uint32_t group = known ? table.pLookup[id].dup : 0;
    if (known && group == 0) {
        return nullptr;
    }
    if (!known) {
        LOG_ERROR("SetDupObject called with invalid values, This: %p, IsModule: %d, ID: %u, "
                  "Obj: %p, DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, "
                  "Loc: %s:%d\n",
                  static_cast<void*>(this), isModule, id, pObject, table.dupListCount,
                  table.count, static_cast<void*>(table.pDupLists),
                  static_cast<void*>(table.pLookup), Text(pFile), line);
        return nullptr;
    }
    if (pObject == nullptr || table.pDupLists == nullptr || group >= table.dupListCount) {
        LOG_ERROR("SetDupObject called with invalid values, This: %p, IsModule: %d, ID: %u, "
                  "Obj: %p, DupCount: %u, LookupCnt: %u, DupEntries: %p, EntryLookup: %p, "
                  "EntryLookup[id].Dup: %u, Loc: %s:%d\n",
                  static_cast<void*>(this), isModule, id, pObject, table.dupListCount,
                  table.count, static_cast<void*>(table.pDupLists),
                  static_cast<void*>(table.pLookup), group, Text(pFile), line);
        return nullptr;
    }

    ParameterMutexLock lock(&m_dupLock, false);
    DupObjInfo* pInfo = GetDupObject(isModule, id, count, pFile, line);
    if (pInfo == nullptr) {
        return AddDupObject(table.pDupLists[group], pObject, count, pFile, line);
    }
    // Somebody built it first: the caller keeps its own object, and the reference the
    // lookup above took stays with the element.
    if (pInfo->m_pObject != nullptr) {
        return nullptr;
    }
    if (pInfo->m_refCount != 0) {
        LOG_ERROR("SetDuplicateObject called on existing object with nullptr Object and RefCount "
                  "%d: ID: %d, DupID: %d, Loc: %s:%d, ignored\n",
                  static_cast<int>(pInfo->m_refCount.load()), static_cast<int>(id),
                  static_cast<int>(group), Text(pFile), line);
    }
    if (!Register(pObject, pInfo)) {
        return nullptr;
    }
    ++pInfo->m_refCount;
    pInfo->m_pObject = pObject;
    return pInfo;
}

DupObjInfo* ParameterFileSymbolTable::AddDupObject(PList<DupObjInfo*>& list, void* pObject,
                                                   unsigned int count, const char* pFile,
                                                   int line) {
    DupObjInfo* pInfo = ParserNew<DupObjInfo>(count, pFile, line);
    if (pInfo == nullptr) {
        return nullptr;
    }
    pInfo->m_pObject = pObject;
    pInfo->m_refCount = 1;
    // An element must be in its list, which is what frees it with the table.
    if (!list.Insert(list.Count(), pInfo)) {
        ParserDelete(pInfo);
        return nullptr;
    }
    if (!Register(pObject, pInfo)) {
        list.Remove(list.Count() - 1);
        ParserDelete(pInfo);
        return nullptr;
    }
    return pInfo;
}

bool ParameterFileSymbolTable::Register(void* pObject, DupObjInfo* pInfo) {
    try {
        m_dupObjects[pObject] = pInfo;
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

DupObjInfo* ParameterFileSymbolTable::FindDupObject(void* pObject) {
    auto found = m_dupObjects.find(pObject);
    return found != m_dupObjects.end() ? found->second : nullptr;
}

bool ParameterFileSymbolTable::ReleaseDupObject(void* pObject) {
    if (pObject == nullptr) {
        return false;
    }
    ParameterMutexLock lock(&m_dupLock, false);
    DupObjInfo* pInfo = FindDupObject(pObject);
    if (pInfo == nullptr) {
        return true;
    }
    if (!DupObjInfo::Release(pInfo)) {
        return false;
    }
    m_dupObjects.erase(pObject);
    return true;
}
