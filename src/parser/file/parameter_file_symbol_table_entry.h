// One numbered entry of a tuning binary (a module or top-level object of the symbol table, or
// a pointed-to object of the data table) and the read cursor over its values. Every generated
// loader walks its structure through this cursor, so the rules of Read are those of the whole
// generated layer:
//   1. a value of N bytes is readable when position + N does not pass the length;
//   2. otherwise the read is logged, the value reads as zero, the position stays, and the
//      caller gets false;
//   3. a readable value is copied unaligned and little-endian;
//   4. the position then moves by max(N, alignment);
//   5. an entry without values fails every read, without a message.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

#include "zyra_api.h"

class DupObjInfo;
class IModeTable;
class IParameterLoggingAPI;
class ModuleData;
class ParameterBinaryFile;
class ParameterFileSymbolTable;
class ParameterSetManager;

class ZYRA_API ParameterFileSymbolTableEntry {
public:
    // How a read that does not fit the values is reported: loaders that log their own text
    // for a failed field read quietly.
    enum class ShortRead { Log, Quiet };

    ParameterFileSymbolTableEntry() = default;
    // Frees the values and the module identity when this entry loaded them.
    ~ParameterFileSymbolTableEntry() {
        if (m_ownsData || m_ownsModuleData) {
            Clear();
        }
    }
    // A copy would free what the original frees; the table hands out views instead (Find).
    ParameterFileSymbolTableEntry(const ParameterFileSymbolTableEntry&) = delete;
    ParameterFileSymbolTableEntry& operator=(const ParameterFileSymbolTableEntry&) = delete;

    // Gives back what the entry holds and makes it a fresh entry of `pTable`.
    void Init(ParameterFileSymbolTable* pTable);

    // Reads the entry at `*pPosition` and moves the position behind it. Memory form (null
    // `pFile`): the entry stands in `pBuffer` of `length` bytes and its values are viewed in
    // place. File form: the entry is fetched from the file at its table's offset plus
    // `*pPosition`, and its values are read into memory this entry owns (while the table
    // reads its own entries from the file, only their bounds are checked). `dataOffset` is
    // where the data block begins. A module entry that names a mode gets its ModuleData.
    // `pFileName` is not used: the file object does the reading.
    bool Load(unsigned char* pBuffer, const char* pFileName, ParameterBinaryFile* pFile,
              unsigned int length, unsigned int* pPosition, unsigned int dataOffset,
              IModeTable* pModeTable, bool isModule, unsigned char alignment);

    // One scalar of any width, by the rules above.
    template <typename T>
    bool Read(T* pValue, unsigned char alignment, ShortRead report = ShortRead::Log) {
        static_assert(std::is_arithmetic<T>::value || std::is_enum<T>::value,
                      "the cursor reads scalars");
        // A packed value that is all there, the common case, is copied in line.
        if (alignment == 1 && TakeBytes(pValue, sizeof(T))) {
            return true;
        }
        return ReadScalar(pValue, sizeof(T), alignment, report);
    }

    // The raw 32-bit word of an enumeration; `*pResult` tells whether it was there.
    unsigned int ReadEnum(bool* pResult, unsigned char alignment);

    // A text of at most `count` bytes at the cursor, shared with the entries of this entry's
    // duplicate group. `*ppString` is freed through the table's ReleaseDupObject protocol.
    bool ReadString(char** ppString, unsigned int count, unsigned char alignment);

    // `size` bytes packed at the cursor (a fixed array); the cursor moves by `size` padded to
    // the alignment. False without a message when the entry has no values.
    bool ReadBlock(void* pDest, unsigned int size, unsigned char alignment);
    // `size` bytes at the cursor, copied and passed when all of them are there; false, with
    // nothing copied, moved or logged, when they are not.
    bool TakeBytes(void* pDest, uint32_t size) {
        if (m_pData == nullptr || m_position > m_length || size > m_length - m_position) {
            return false;
        }
        std::memcpy(pDest, m_pData + m_position, size);
        m_position += size;
        return true;
    }

    // The shared object built for this entry's duplicate group at the reading site
    // `pFile`:`line` for `count` elements (see ParameterFileSymbolTable).
    DupObjInfo* GetDupObject(unsigned int count, const char* pFile, int line);
    DupObjInfo* SetDupObject(void* pObject, unsigned int count, const char* pFile, int line);

    uint32_t GetId() const { return m_id; }
    uint32_t GetDuplicateId() const { return m_duplicateId; }
    const unsigned char* GetData() const { return m_pData; }
    // Hands the values this entry read from a file to the caller, who frees them with
    // ZyraFree; the entry goes on viewing them. Null when the entry only views its values.
    unsigned char* ReleaseOwnedData() {
        if (!m_ownsData) {
            return nullptr;
        }
        m_ownsData = false;
        return m_pData;
    }
    uint32_t GetLength() const { return m_length; }
    uint32_t GetPosition() const { return m_position; }
    ModuleData* GetModuleData() const { return m_pModuleData; }
    ParameterFileSymbolTable* GetTable() const { return m_pTable; }
    ParameterSetManager* GetSetManager() const { return m_pSetManager; }

private:
    friend class ParameterFileSymbolTable;

    bool ReadScalar(void* pValue, unsigned int width, unsigned char alignment, ShortRead report);
    IParameterLoggingAPI* Logger() const;
    // Frees what this entry owns and clears every field.
    void Clear();
    // Makes this entry a view of `other`: same values and module identity, owned by `other`,
    // with its own cursor at 0.
    void ViewOf(const ParameterFileSymbolTableEntry& other) {
        if (m_ownsData || m_ownsModuleData) {
            Clear();
        }
        m_pTable = other.m_pTable;
        m_pSetManager = other.m_pSetManager;
        m_id = other.m_id;
        m_duplicateId = other.m_duplicateId;
        m_pData = other.m_pData;
        m_ownsData = false;
        m_position = 0;
        m_length = other.m_length;
        m_pModuleData = other.m_pModuleData;
        m_ownsModuleData = false;
    }
    // The entry's values once its fields are read; false when they lie outside the source.
    bool TakeValues(unsigned char* pBuffer, unsigned int length, ParameterBinaryFile* pFile,
                    unsigned int dataOffset, unsigned int valuesOffset,
                    unsigned int valuesLength);

    ParameterFileSymbolTable* m_pTable = nullptr;
    ParameterSetManager* m_pSetManager = nullptr;
    uint32_t m_id = 0;
    uint32_t m_duplicateId = 0;
    unsigned char* m_pData = nullptr;
    bool m_ownsData = false;
    uint32_t m_position = 0;
    uint32_t m_length = 0;
    ModuleData* m_pModuleData = nullptr;
    bool m_ownsModuleData = false;
};
