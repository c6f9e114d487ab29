// Identity of one module instance in one binary: its symbol entry, type, version and the
// mode that created it. Owned by the symbol table that read the entry.
#pragma once

#include <cstdint>

#include "parser/foundation/version_union.h"
#include "zyra_api.h"

class IModeTable;
class ModeEntry;
class ParameterSetManager;
class ParameterFileSymbolTable;

class ZYRA_API ModuleData {
public:
    // Longest type text: the short form of a module name that a binary stores.
    static constexpr unsigned int kTypeLength = 32;

    ModuleData(unsigned int id, unsigned int duplicateId, IModeTable* pModeTable,
               const char* pType, unsigned long version, unsigned int modeId,
               ParameterSetManager* pSetManager);
    ~ModuleData();
    ModuleData(const ModuleData&) = delete;
    ModuleData& operator=(const ModuleData&) = delete;

    // Writes the short type form of `pName` into `pType`, a zeroed buffer of at least
    // kTypeLength + 1 bytes, and returns `pType`.
    static char* GetType(char* pType, const char* pName);

    uint32_t ID;
    uint32_t DuplicateID;
    char* Type;
    VersionUnion Version;
    uint32_t ModeId;
    ModeEntry* Mode;
    char* ModulePath;
    ParameterSetManager* SetManager;
    ParameterFileSymbolTable* SymbolTable;

private:
    // The empty node made when the mode table lacks ModeId; Mode names it, and it dies with
    // this object.
    ModeEntry* m_pStandInMode = nullptr;
};
