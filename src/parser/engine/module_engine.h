// The life of a generated module class (creation from a prototype, loading from the symbol
// table, unloading), shared by every class and driven by its ModuleDescriptor.
#pragma once

#include <cstdint>

#include "parser/engine/descriptors.h"
#include "parser/engine/schema_view.h"

class DefaultModule;
class IParameterLoggingAPI;
class ModuleData;
class ParameterFileSymbolTable;
class ParameterFileSymbolTableEntry;
class ParameterModule;

namespace ParameterEngine {

// Makes an instance of a class for `pData` with `moduleId` in its ModuleID; null when out of
// memory.
using ModuleFactory = ParameterModule* (*)(const char* pName, ModuleData* pData,
                                           uint32_t moduleId);

// The instance of `prototype`'s class for `pData`: an existing one of the same symbol entry or
// duplicate group, or a new one added to `pDefault`. Null, with a message, when the binary's
// type or version is not the class's.
ParameterModule* CreateModule(const ParameterModule& prototype, const ModuleDescriptor& module,
                              ModuleData* pData, DefaultModule* pDefault, ModuleFactory factory);

// Loads the top structure `pTop` of `instance` from its symbol entry, then sets the head words
// of a trigger tree. A failed load is unloaded at once through the instance's UnloadModule.
bool LoadModule(ParameterModule& instance, const ModuleDescriptor& module, uint32_t moduleId,
                void* pTop, ParameterFileSymbolTable* pTable);

// Gives back what LoadModule took. Scalars keep their values until the next load.
void UnloadModule(ParameterModule& instance, const ModuleDescriptor& module, void* pTop);

// UpdateTriggerType of a class in trigger tree form, for the tree that `module` describes.
void UpdateModuleTrigger(const ParameterModule& instance, const ModuleDescriptor& module,
                         const void* pVariables, void* pNode, uint32_t depth);

// Makes `clone`, a new instance of the class of `source`, a private copy of it: `Loaded`, and a
// deep copy of the top structure, ModuleID included. `Modified` of the clone stays as it is.
void CloneModule(const ParameterModule& source, const ModuleDescriptor& module,
                 const void* pSourceTop, ParameterModule& clone, void* pCloneTop);

// The same two for an opaque class, whose top structure holds a copy of its symbol entry's
// bytes in `pBytes` (owned) and their number in `size`. A run-time schema of the class's
// namespace adds `view`, the same bytes laid out by that schema.
bool LoadRawModule(ParameterModule& instance, const ModuleDescriptor& module, uint32_t moduleId,
                   uint32_t& size, uint8_t*& pBytes, SchemaView& view,
                   ParameterFileSymbolTable* pTable);
void UnloadRawModule(ParameterModule& instance, uint32_t& size, uint8_t*& pBytes,
                     SchemaView& view);

// Fills the top structure `pTop` of `module` from the entry, then sets the head words of its
// trigger tree.
bool LoadTopStructure(const ModuleDescriptor& module, void* pTop,
                      ParameterFileSymbolTableEntry& entry, unsigned char alignment,
                      IParameterLoggingAPI* pLogger);

// The registered name whose short form is `pName`; the latest registered wins. Otherwise
// `pName` itself.
const char* RegisteredName(const ModuleDescriptor& module, const char* pName);

}  // namespace ParameterEngine
