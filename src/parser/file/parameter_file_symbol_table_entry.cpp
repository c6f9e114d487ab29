#include "parser/file/parameter_file_symbol_table_entry.h"

#include <cstring>

#include "parser/file/binary_value.h"
#include "parser/file/dup_obj_info.h"
#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_utils.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"

namespace {

// The `mode` of a symbol entry that is no module.
constexpr uint32_t kNotAModule = 0xFFFFFFFFu;
constexpr unsigned int kNameWidth = 32;
constexpr unsigned int kReservedWidth = 8;
constexpr unsigned int kVersionWidth = 8;
// The largest entry size GetSymbolEntrySize gives: what one file read of an entry fetches.
constexpr unsigned int kMaxEntrySize = 76;

// An entry's fields as its table stores them.
struct EntryFields {
    uint32_t id = 0;
    char name[kNameWidth + 1] = {};  // the extra byte ends a name of the full width
    uint64_t version = 0;
    uint32_t mode = kNotAModule;
    uint32_t dataOffset = 0;
    uint32_t dataLength = 0;
    uint32_t duplicateId = 0;
};

// Which of the fields an entry has.
struct EntryLayout {
    bool symbol;        // name, version and mode; data table entries lack them
    bool reserved;      // 8 unused bytes before the mode
    bool duplicateIds;  // otherwise the duplicate id is the entry's own id
};

// Reads the fields in their order; the first that does not fit ends the read.
bool ReadFields(EntryFields& fields, const EntryLayout& layout, const unsigned char* pSource,
                unsigned int length, unsigned int* pPosition, unsigned char alignment,
                IParameterLoggingAPI* pLogging) {
    auto read = [&](void* pValue, unsigned int width, unsigned int slot) {
        return BinaryValue::Read(pValue, width, slot, pSource, length, pPosition, pLogging, true);
    };
    unsigned int word = BinaryValue::Slot(sizeof(uint32_t), alignment);
    auto nameSlot = static_cast<unsigned int>(
        alignment > 1 ? ParameterUtils::AlignUp(kNameWidth, alignment) : kNameWidth);
    unsigned char reserved[kReservedWidth];

    if (!read(&fields.id, sizeof(uint32_t), word)) {
        return false;
    }
    if (layout.symbol &&
        (!read(fields.name, kNameWidth, nameSlot) ||
         !read(&fields.version, kVersionWidth, BinaryValue::Slot(kVersionWidth, alignment)) ||
         (layout.reserved && !read(reserved, kReservedWidth, kReservedWidth)) ||
         !read(&fields.mode, sizeof(uint32_t), word))) {
        return false;
    }
    if (!read(&fields.dataOffset, sizeof(uint32_t), word) ||
        !read(&fields.dataLength, sizeof(uint32_t), word)) {
        return false;
    }
    if (!layout.duplicateIds) {
        fields.duplicateId = fields.id;
        return true;
    }
    return read(&fields.duplicateId, sizeof(uint32_t), word);
}

}  // namespace

void ParameterFileSymbolTableEntry::Init(ParameterFileSymbolTable* pTable) {
    Clear();
    m_pTable = pTable;
    m_pSetManager = pTable != nullptr ? pTable->m_pSetManager : nullptr;
}

void ParameterFileSymbolTableEntry::Clear() {
    if (m_ownsData) {
        ZyraFree(m_pData);
    }
    if (m_ownsModuleData) {
        ParserDelete(m_pModuleData);
    }
    m_pTable = nullptr;
    m_pSetManager = nullptr;
    m_id = 0;
    m_duplicateId = 0;
    m_pData = nullptr;
    m_ownsData = false;
    m_position = 0;
    m_length = 0;
    m_pModuleData = nullptr;
    m_ownsModuleData = false;
}

IParameterLoggingAPI* ParameterFileSymbolTableEntry::Logger() const { return m_pSetManager; }

bool ParameterFileSymbolTableEntry::Load(unsigned char* pBuffer, const char* /*pFileName*/,
                                         ParameterBinaryFile* pFile, unsigned int length,
                                         unsigned int* pPosition, unsigned int dataOffset,
                                         IModeTable* pModeTable, bool isModule,
                                         unsigned char alignment) {
    ParameterFileSymbolTable* pTable = m_pTable;
    Init(pTable);
    if (pTable == nullptr || pPosition == nullptr) {
        return false;
    }

    // In file form the entry is fetched alone, and the cursor runs over that copy.
    unsigned char fetched[kMaxEntrySize];
    const unsigned char* pSource = pBuffer;
    unsigned int sourceLength = length;
    unsigned int position = *pPosition;
    if (pFile != nullptr) {
        unsigned int size = pTable->GetSymbolEntrySize(alignment);
        unsigned int at = *pPosition;
        if (size > sizeof(fetched) ||
            !pFile->Read(fetched, pTable->TableOffset(isModule), &at, size, 1)) {
            return false;
        }
        pSource = fetched;
        sourceLength = size;
        position = 0;
    }
    if (pSource == nullptr) {
        return false;
    }

    EntryFields fields;
    EntryLayout layout{isModule || !pTable->HasDataTable(),
                       pTable->HasReservedSymbolBytes(alignment), pTable->HasDuplicateIds()};
    if (!ReadFields(fields, layout, pSource, sourceLength, &position, alignment, Logger())) {
        return false;
    }
    m_id = fields.id;
    m_duplicateId = fields.duplicateId;

    // Logged only: the group numbering leaves such an entry out of any group.
    unsigned int count = pTable->View(isModule).count;
    if (layout.duplicateIds && fields.duplicateId > count) {
        if (isModule) {
            ParameterLogging::Write(Logger(), ParameterLogging::Error, __FILE__, __LINE__,
                                    "Invalid DuplicateID value %u, should be less than module "
                                    "table count: %u\n",
                                    fields.duplicateId, count);
        } else {
            ParameterLogging::Write(Logger(), ParameterLogging::Error, __FILE__, __LINE__,
                                    "Invalid DuplicateID value %u, should be less than data "
                                    "table count: %u\n",
                                    fields.duplicateId, count);
        }
    }

    if (isModule && fields.mode != kNotAModule) {
        m_pModuleData = ParserNew<ModuleData>(fields.id, fields.duplicateId, pModeTable,
                                              fields.name, fields.version, fields.mode,
                                              m_pSetManager);
        m_ownsModuleData = true;
        // Without its texts the identity is of no use to anyone.
        if (m_pModuleData == nullptr || m_pModuleData->Type == nullptr ||
            m_pModuleData->ModulePath == nullptr) {
            Init(pTable);
            return false;
        }
    }

    if (!TakeValues(pBuffer, length, pFile, dataOffset, fields.dataOffset, fields.dataLength)) {
        Init(pTable);
        return false;
    }
    *pPosition = pFile != nullptr ? *pPosition + position : position;
    return true;
}

bool ParameterFileSymbolTableEntry::TakeValues(unsigned char* pBuffer, unsigned int length,
                                               ParameterBinaryFile* pFile,
                                               unsigned int dataOffset,
                                               unsigned int valuesOffset,
                                               unsigned int valuesLength) {
    uint64_t start = static_cast<uint64_t>(dataOffset) + valuesOffset;
    uint64_t sourceLength = pFile != nullptr ? pFile->FileSize() : length;
    // Every later read trusts the length, so the values must lie within their source.
    if (start + valuesLength > sourceLength) {
        BinaryValue::LogShortRead(valuesLength, start, sourceLength, Logger());
        return false;
    }
    if (pFile == nullptr) {
        m_pData = pBuffer + start;
    } else if (valuesLength != 0 && !m_pTable->m_readingEntriesFromFile) {
        m_pData = pFile->Read(static_cast<unsigned int>(start), valuesLength);
        if (m_pData == nullptr) {
            return false;
        }
        m_ownsData = true;
    }
    m_length = valuesLength;
    m_position = 0;
    return true;
}

bool ParameterFileSymbolTableEntry::ReadScalar(void* pValue, unsigned int width,
                                               unsigned char alignment, ShortRead report) {
    if (pValue == nullptr) {
        return false;
    }
    if (m_pData == nullptr) {
        std::memset(pValue, 0, width);
        return false;
    }
    return BinaryValue::Read(pValue, width, BinaryValue::Slot(width, alignment), m_pData,
                             m_length, &m_position, Logger(), report == ShortRead::Log);
}

unsigned int ParameterFileSymbolTableEntry::ReadEnum(bool* pResult, unsigned char alignment) {
    uint32_t value = 0;
    bool read = Read(&value, alignment);
    if (pResult != nullptr) {
        *pResult = read;
    }
    return value;
}

bool ParameterFileSymbolTableEntry::ReadString(char** ppString, unsigned int count,
                                               unsigned char alignment) {
    if (ppString == nullptr) {
        return false;
    }
    // Every text is one reading site, whichever structure asks for it.
    static constexpr int kTextSite = __LINE__;
    DupObjInfo* pShared = GetDupObject(1, __FILE__, kTextSite);
    *ppString = nullptr;
    if (pShared != nullptr && pShared->m_pObject != nullptr) {
        *ppString = static_cast<char*>(pShared->m_pObject);
        m_position += count;
        return true;
    }
    if (m_pData == nullptr) {
        return false;
    }
    char* pText = ParameterUtils::ReadString(m_pData, m_length, &m_position, count, alignment);
    if (pText == nullptr) {
        return false;
    }
    *ppString = pText;
    SetDupObject(pText, 1, __FILE__, kTextSite);
    return true;
}

bool ParameterFileSymbolTableEntry::ReadBlock(void* pDest, unsigned int size,
                                              unsigned char alignment) {
    return m_pData != nullptr && ParameterUtils::ReadBuffer(pDest, m_pData, m_length,
                                                            &m_position, size, alignment,
                                                            Logger());
}

DupObjInfo* ParameterFileSymbolTableEntry::GetDupObject(unsigned int count, const char* pFile,
                                                        int line) {
    if (m_pTable == nullptr) {
        return nullptr;
    }
    return m_pTable->GetDupObject(m_pModuleData != nullptr, m_duplicateId, count, pFile, line);
}

DupObjInfo* ParameterFileSymbolTableEntry::SetDupObject(void* pObject, unsigned int count,
                                                        const char* pFile, int line) {
    if (m_pTable == nullptr) {
        return nullptr;
    }
    return m_pTable->SetDupObject(m_pModuleData != nullptr, m_duplicateId, pObject, count,
                                  pFile, line);
}
