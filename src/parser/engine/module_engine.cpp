#include "parser/engine/module_engine.h"

#include <cstring>

#include "parser/foundation/parser_alloc_category.h"
#include "zyra/memory.h"

#include "parser/engine/structure_engine.h"
#include "parser/engine/trigger_tree.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/file/parameter_file_symbol_table_entry.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"

namespace ParameterEngine {
namespace {

IParameterLoggingAPI* LoggerOf(const ModuleData* pData) {
    return pData != nullptr ? pData->SetManager : nullptr;
}

const char* TextOf(const char* pText) { return pText != nullptr ? pText : ""; }

// A symbol entry's ID lies in the lower 24 bits of ModuleID where the top byte counts changes.
constexpr uint32_t kModuleIdMask = 0xFFFFFF;

// What every class's LoadModule does around `read`, which takes the module's values from its
// found symbol entry.
template <typename Read>
bool LoadFromEntry(ParameterModule& instance, const ModuleDescriptor& module, uint32_t moduleId,
                   ParameterFileSymbolTable* pTable, Read read) {
    if (instance.Loaded) {
        return true;
    }
    bool result = false;
    {
        ParameterFileSymbolTableEntry entry;
        uint32_t id = module.masksModuleId ? moduleId & kModuleIdMask : moduleId;
        if (pTable != nullptr && pTable->Find(entry, id, true)) {
            result = read(entry, pTable->GetAlignment());
        } else {
            ParameterLogging::Write(
                LoggerOf(instance.Data), ParameterLogging::Error, __FILE__, __LINE__,
                "%s::LoadModule Failed to find module ID (%d) in Symbol Table\n",
                module.className, static_cast<int>(moduleId));
        }
    }
    ++instance.Modified;
    instance.Loaded = true;
    if (result) {
        return true;
    }
    // Through the virtual slot, so a class that adds to unloading is heard.
    instance.UnloadModule();
    return false;
}

// The bytes of `entry` into a block that the module owns: the entry's own block when it
// read them from a file, else a copy.
bool CopyEntryBytes(const ParameterModule& instance, const ModuleDescriptor& module,
                    ParameterFileSymbolTableEntry& entry, uint32_t& size, uint8_t*& pBytes) {
    const uint32_t length = entry.GetLength();
    if (length > 0 && entry.GetData() == nullptr) {
        return false;
    }
    if (uint8_t* pOwned = entry.ReleaseOwnedData()) {
        pBytes = pOwned;
        size = length;
        return true;
    }
    // One byte at least, so that an empty entry still has bytes to point to.
    auto* pCopy =
        static_cast<uint8_t*>(ZyraCalloc(length > 0 ? length : 1, 1, kParserAllocCategory));
    if (pCopy == nullptr) {
        ParameterLogging::Write(LoggerOf(instance.Data), ParameterLogging::Error, __FILE__,
                                __LINE__, "%s::LoadModule Failed to allocate %u bytes\n",
                                module.className, length);
        return false;
    }
    if (length > 0) {
        std::memcpy(pCopy, entry.GetData(), length);
    }
    pBytes = pCopy;
    size = length;
    return true;
}

}  // namespace

ParameterModule* CreateModule(const ParameterModule& prototype, const ModuleDescriptor& module,
                              ModuleData* pData, DefaultModule* pDefault, ModuleFactory factory) {
    if (pData == nullptr || pDefault == nullptr) {
        return nullptr;
    }
    if (prototype.Version != pData->Version) {
        ParameterLogging::Write(
            LoggerOf(pData), ParameterLogging::Error, __FILE__, __LINE__,
            "Unable to create %s, binary version (%lld) does not match source version (%lld)\n",
            module.className, static_cast<long long>(pData->Version.Word()),
            static_cast<long long>(prototype.Version.Word()));
        return nullptr;
    }
    if (std::strcmp(TextOf(prototype.Type), TextOf(pData->Type)) != 0) {
        ParameterLogging::Write(
            LoggerOf(pData), ParameterLogging::Error, __FILE__, __LINE__,
            "Unable to create %s, binary name (%s) does not match source name (%s)\n",
            module.className, TextOf(pData->Type), TextOf(prototype.Type));
        return nullptr;
    }
    // A module that the binary marks as a duplicate shares the object of the one it copies.
    uint32_t id = pData->DuplicateID != 0 ? pData->DuplicateID : pData->ID;
    ParameterModule* pInstance = pDefault->Find(id);
    if (pInstance != nullptr) {
        return pInstance;
    }
    pInstance = factory(RegisteredName(module, pData->Type), pData, id);
    if (pInstance != nullptr && !pDefault->AddModule(pInstance)) {
        delete pInstance;
        pInstance = nullptr;
    }
    return pInstance;
}

bool LoadModule(ParameterModule& instance, const ModuleDescriptor& module, uint32_t moduleId,
                void* pTop, ParameterFileSymbolTable* pTable) {
    return LoadFromEntry(instance, module, moduleId, pTable,
                         [&](ParameterFileSymbolTableEntry& entry, unsigned char alignment) {
                             return LoadTopStructure(module, pTop, entry, alignment,
                                                     LoggerOf(instance.Data));
                         });
}

bool LoadTopStructure(const ModuleDescriptor& module, void* pTop,
                      ParameterFileSymbolTableEntry& entry, unsigned char alignment,
                      IParameterLoggingAPI* pLogger) {
    const bool loaded = Load(*module.top, pTop, &entry, alignment);
    if (loaded && module.triggerTree != nullptr) {
        UpdateTriggerTree(*module.triggerTree, pTop, pLogger);
    }
    return loaded;
}

void UnloadModule(ParameterModule& instance, const ModuleDescriptor& module, void* pTop) {
    if (!instance.Loaded) {
        return;
    }
    if (module.top->ownsMemory) {
        ParameterFileSymbolTable* pTable =
            instance.Data != nullptr ? instance.Data->SymbolTable : nullptr;
        if (pTable == nullptr) {
            ParameterLogging::Write(
                LoggerOf(instance.Data), ParameterLogging::Error, __FILE__, __LINE__,
                "UnloadModule %s called with nullptr Data->SymbolTable object\n",
                TextOf(instance.Name));
        }
        Unload(*module.top, pTop, pTable);
    }
    instance.Loaded = false;
}

void UpdateModuleTrigger(const ParameterModule& instance, const ModuleDescriptor& module,
                         const void* pVariables, void* pNode, uint32_t depth) {
    if (module.triggerTree != nullptr) {
        UpdateTriggerType(*module.triggerTree, pVariables, pNode, depth, LoggerOf(instance.Data));
    }
}

void CloneModule(const ParameterModule& source, const ModuleDescriptor& module,
                 const void* pSourceTop, ParameterModule& clone, void* pCloneTop) {
    clone.Loaded = source.Loaded;
    CloneFrom(*module.top, pCloneTop, pSourceTop, LoggerOf(source.Data));
}

bool LoadRawModule(ParameterModule& instance, const ModuleDescriptor& module, uint32_t moduleId,
                   uint32_t& size, uint8_t*& pBytes, SchemaView& view,
                   ParameterFileSymbolTable* pTable) {
    return LoadFromEntry(instance, module, moduleId, pTable,
                         [&](ParameterFileSymbolTableEntry& entry, unsigned char alignment) {
                             if (!CopyEntryBytes(instance, module, entry, size, pBytes)) {
                                 return false;
                             }
                             // A layout that does not fit leaves the module as opaque as before.
                             LoadSchemaView(instance, view, entry, alignment);
                             return true;
                         });
}

void UnloadRawModule(ParameterModule& instance, uint32_t& size, uint8_t*& pBytes,
                     SchemaView& view) {
    if (!instance.Loaded) {
        return;
    }
    UnloadSchemaView(instance, view);
    ZyraFree(pBytes);
    pBytes = nullptr;
    size = 0;
    instance.Loaded = false;
}

const char* RegisteredName(const ModuleDescriptor& module, const char* pName) {
    if (pName == nullptr) {
        return pName;
    }
    const char* pRegistered = pName;
    for (uint32_t i = 0; i < module.nameCount; ++i) {
        char type[ModuleData::kTypeLength + 1] = {};
        if (std::strcmp(ModuleData::GetType(type, module.names[i]), pName) == 0) {
            pRegistered = module.names[i];
        }
    }
    return pRegistered;
}

}  // namespace ParameterEngine
