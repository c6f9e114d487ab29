// The numbered entries of one tuning binary: the symbol table (modules and other top-level
// objects) and, from version 4.0.0, the data table (the objects that values point to).
// Entries are numbered from 1; 0 names none. Loaded from memory, the entries stay resident
// and view the caller's buffer. Loaded from a file, each Find reads its entry and values from
// the file again, and only the lookup records stay.
//
// It also keeps the objects that entries of one duplicate group share: per group a list of
// elements, one per reading site and count, each with its object and holders.
#pragma once

#include <cstdint>
#include <unordered_map>

#include "parser/file/parameter_file_symbol_table_entry.h"
#include "parser/foundation/parameter_mutex.h"
#include "parser/foundation/plist.h"
#include "parser/foundation/version_union.h"
#include "zyra_api.h"

class DupObjInfo;
class IModeTable;
class ModuleData;
class ParameterBinaryFile;
class ParameterSetManager;

class ZYRA_API ParameterFileSymbolTable {
public:
    // Lookup record per entry id: the entry's duplicate group (0 when its values are its
    // own) and where the entry stands in its table.
    struct EntryData {
        uint32_t dup;
        uint32_t offset;
    };

    // `pSetManager` may be null: messages then go out without a logger, and Find refuses
    // every id.
    ParameterFileSymbolTable(ParameterSetManager* pSetManager, const VersionUnion& version);
    // Frees the entries, lookups, module identities and duplicate elements; shared objects
    // still held by elements are not freed, their holders release them.
    ~ParameterFileSymbolTable();
    ParameterFileSymbolTable(const ParameterFileSymbolTable&) = delete;
    ParameterFileSymbolTable& operator=(const ParameterFileSymbolTable&) = delete;

    // Reads both tables, once per object. Memory form (null `pFile`): the sections are read
    // from `pBuffer` of `length` bytes, which must outlive the entries. File form: from
    // `pFile` of `fileLength` bytes; `pFileName` must outlive the table. A data table whose
    // size or offset is 0 is absent, and pointers then name symbol entries. On failure what
    // was built stays for the destructor.
    bool Load(unsigned char* pBuffer, unsigned int length, const char* pFileName,
              ParameterBinaryFile* pFile, unsigned int fileLength, unsigned int symbolSize,
              unsigned int symbolOffset, unsigned int dataTableSize,
              unsigned int dataTableOffset, unsigned int dataSize, unsigned int dataOffset,
              IModeTable* pModeTable, unsigned char alignment);

    // Fills `entry` with entry `id` of the symbol table (`isModule`) or the data table.
    bool Find(ParameterFileSymbolTableEntry& entry, unsigned int id, bool isModule);
    // Reads a 32-bit entry id at `pEntry`'s cursor and finds that data table entry.
    bool ReadPointerEntry(ParameterFileSymbolTableEntry& result,
                          ParameterFileSymbolTableEntry* pEntry, unsigned char alignment);

    // Adds `adjust` references to the file, which stays open while any are held.
    void FileReference(int adjust);
    void FreeEntryData();
    void FreeLookupData();

    // Bytes per entry of each table, by the binary's version and `alignment`; the data table
    // size is 0 for versions without one.
    unsigned int GetSymbolEntrySize(unsigned char alignment) const;
    unsigned int GetDataTableEntrySize() const;
    unsigned int GetModeEntrySize(unsigned char alignment) const;

    // The object built for the duplicate group of entry `id` at the reading site
    // `pFile`:`line` for `count` elements, with one more reference taken when it holds an
    // object; an element whose object was released comes back empty and takes none. Null
    // when the entry is in no group or nothing was built there yet.
    DupObjInfo* GetDupObject(bool isModule, unsigned int id, unsigned int count,
                             const char* pFile, int line);
    // Offers `pObject` to the group of entry `id`. Returns the element that now holds it, or
    // null when there is no sharing and the object stays the caller's alone. An element that
    // already held an object also answers null, and keeps the reference taken in looking.
    DupObjInfo* SetDupObject(bool isModule, unsigned int id, void* pObject, unsigned int count,
                             const char* pFile, int line);
    // The element holding `pObject`; the caller holds the duplicates lock.
    DupObjInfo* FindDupObject(void* pObject);
    // Gives back one reference to `pObject`. True when the caller must free it: it was never
    // shared, or this was its last reference. False for null and while others hold it.
    bool ReleaseDupObject(void* pObject);

    const VersionUnion& GetVersion() const { return m_version; }
    unsigned char GetAlignment() const { return m_alignment; }
    unsigned int GetSymbolCount() const { return m_symbolCount; }
    // Without a data table the data side is the symbol table itself.
    unsigned int GetDataCount() const { return View(false).count; }
    ParameterBinaryFile* GetFile() const { return m_pFile; }
    // Identities of the module entries, in rising id order; owned by the table.
    PList<ModuleData*>& GetModules() { return m_modules; }

private:
    friend class ParameterFileSymbolTableEntry;

    // The arrays of one of the two tables. Without a data table the data side is the symbol
    // table's, so that a pointer names a symbol entry.
    struct TableView {
        ParameterFileSymbolTableEntry* pEntries;
        EntryData* pLookup;
        uint32_t count;
        PList<DupObjInfo*>* pDupLists;
        uint32_t dupListCount;
    };
    TableView View(bool isModule) const {
        if (isModule || !HasDataTable()) {
            return {m_pSymbolEntries, m_pSymbolLookup, m_symbolCount, m_pSymbolDupLists,
                    m_symbolDupListCount};
        }
        return {m_pDataEntries, m_pDataLookup, m_dataCount, m_pDataDupLists, m_dataDupListCount};
    }

    bool HasDataTable() const { return m_dataTableSize != 0 && m_dataTableOffset != 0; }
    // Entries carry a duplicate id (binaries above 3.0.1).
    bool HasDuplicateIds() const;
    // Unaligned symbol entries before 3.0.1 carry 8 unused bytes before the mode.
    bool HasReservedSymbolBytes(unsigned char alignment) const;
    // Where the entries read with `isModule` stand in the file.
    unsigned int TableOffset(bool isModule) const;
    IParameterLoggingAPI* Logger() const;

    // Whether a section of `size` bytes at `offset` lies within a source of `sourceLength`
    // bytes; logs the table's read failure when not.
    bool SectionWithin(bool isModule, unsigned int offset, unsigned int size,
                       uint64_t sourceLength);
    void LogTableReadFailure(bool isModule, unsigned int offset, unsigned int size) const;
    bool AllocateTables();
    // Reads a table's section from the file into a scratch buffer and its entries from there.
    bool ReadSectionFromFile(bool isModule, unsigned int offset, unsigned int size);
    // Reads the table's entries from `pBuffer` at `position`.
    bool ReadTable(unsigned char* pBuffer, unsigned int length, unsigned int position,
                   bool isModule);
    // Numbers the duplicate groups from the counts of entries per duplicate id, makes their
    // lists and gives each entry its group.
    void BuildDupGroups(bool isModule, uint32_t* pDupCounts);
    // Moves each module entry's identity into m_modules.
    void CollectModules();
    DupObjInfo* AddDupObject(PList<DupObjInfo*>& list, void* pObject, unsigned int count,
                             const char* pFile, int line);
    // Enters `pObject` in the map of shared objects; false when memory runs out.
    bool Register(void* pObject, DupObjInfo* pInfo);
    void FreeDupLists(PList<DupObjInfo*>*& pLists, uint32_t& count);

    ParameterSetManager* m_pSetManager;
    VersionUnion m_version;
    const char* m_pFileName = nullptr;
    ParameterBinaryFile* m_pFile = nullptr;
    uint32_t m_symbolOffset = 0;
    uint32_t m_dataTableSize = 0;
    uint32_t m_dataTableOffset = 0;
    uint32_t m_dataOffset = 0;
    IModeTable* m_pModeTable = nullptr;
    // Set while ReadSectionFromFile reads the entries: those go again right after the load,
    // and Find reads each one with its values when asked, so their values are left unread.
    bool m_readingEntriesFromFile = false;
    unsigned char m_alignment = 1;
    uint32_t m_symbolCount = 0;
    uint32_t m_dataCount = 0;
    PList<ModuleData*> m_modules{1};
    EntryData* m_pSymbolLookup = nullptr;
    EntryData* m_pDataLookup = nullptr;
    PList<DupObjInfo*>* m_pSymbolDupLists = nullptr;
    uint32_t m_symbolDupListCount = 0;
    PList<DupObjInfo*>* m_pDataDupLists = nullptr;
    uint32_t m_dataDupListCount = 0;
    ParameterFileSymbolTableEntry* m_pSymbolEntries = nullptr;
    ParameterFileSymbolTableEntry* m_pDataEntries = nullptr;
    ParameterMutex m_dupLock;
    std::unordered_map<void*, DupObjInfo*> m_dupObjects;
};
