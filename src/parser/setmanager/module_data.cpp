#include "parser/setmanager/module_data.h"

#include <cstring>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_alloc_category.h"
#include "parser/foundation/parser_object.h"
#include "parser/foundation/parser_text.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/mode_table.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

namespace {

// Longest numeric mode path kept with a module, terminator included.
constexpr unsigned int kModePathSize = 128;
// Type names may carry the family prefix, with or without its underscore.
constexpr char kPrefix[] = "lumatrope_";
constexpr size_t kPrefixLength = sizeof(kPrefix) - 1;
// A type too long for the binary keeps its head and its tail around a dash.
constexpr size_t kTypeHead = 8;
constexpr size_t kTypeTail = ModuleData::kTypeLength - kTypeHead - 1;

}  // namespace

ModuleData::ModuleData(unsigned int id, unsigned int duplicateId, IModeTable* pModeTable,
                       const char* pType, unsigned long version, unsigned int modeId,
                       ParameterSetManager* pSetManager)
    : ID(id),
      DuplicateID(duplicateId),
      Type(nullptr),
      Version(version),
      ModeId(modeId),
      Mode(nullptr),
      ModulePath(nullptr),
      SetManager(pSetManager),
      SymbolTable(pSetManager != nullptr ? pSetManager->GetSymbolTable() : nullptr) {
    IParameterLoggingAPI* pLogging = pSetManager;
    char path[kModePathSize] = {};
    if (pModeTable == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "ModuleData called with nullptr modeTable parameter");
    } else {
        ModeEntry* pMode = pModeTable->GetModeEntry(modeId);
        if (pMode != nullptr) {
            pMode->GetModePath(path, sizeof(path));
        } else {
            m_pStandInMode = ParserNew<ModeEntry>(false, false);
            pMode = m_pStandInMode;
            ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                    "Failed to find ModeID %d in mode table when creating "
                                    "ModuleData",
                                    static_cast<int>(modeId));
        }
        Mode = pMode;
    }
    if (pType == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "ModuleData called with nullptr type parameter");
    }
    Type = ParserCopyText(pType != nullptr ? pType : "");
    ModulePath = ParserCopyText(path);
}

ModuleData::~ModuleData() {
    ZyraFree(Type);
    ZyraFree(ModulePath);
    ParserDelete(m_pStandInMode);
}

char* ModuleData::GetType(char* pType, const char* pName) {
    if (pType == nullptr || pName == nullptr) {
        return pType;
    }
    size_t length = std::strlen(pName);
    size_t skip = 0;
    if (length > kPrefixLength &&
        Zyra::OsUtils::StrNICmp(pName, kPrefix, kPrefixLength) == 0) {
        skip = kPrefixLength;
    } else if (length > kPrefixLength - 1 &&
               Zyra::OsUtils::StrNICmp(pName, kPrefix, kPrefixLength - 1) == 0) {
        skip = kPrefixLength - 1;
    }
    const char* pRest = pName + skip;
    size_t restLength = length - skip;
    if (restLength <= kTypeLength) {
        std::memcpy(pType, pRest, restLength + 1);
        return pType;
    }
    std::memcpy(pType, pRest, kTypeHead);
    pType[kTypeHead] = '-';
    std::memcpy(pType + kTypeHead + 1, pRest + restLength - kTypeTail, kTypeTail);
    pType[kTypeLength] = '\0';
    return pType;
}
