// Base of every module class: a named, versioned block of parameters of one binary. A
// generated class derives from it and from its plain data structure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <new>

#include "parser/foundation/mode_union.h"
#include "parser/foundation/plist.h"
#include "parser/foundation/version_union.h"
#include "zyra_api.h"

class DefaultModule;
class ModuleData;
class ParameterFileSymbolTable;
struct ParameterParserInfo;

class ZYRA_API ParameterModule {
public:
    ParameterModule(const char* pName, const VersionUnion& version, ModuleData* pData);
    ParameterModule(const char* pName, unsigned short major, unsigned short minor,
                    unsigned int patch, ModuleData* pData);
    virtual ~ParameterModule();
    ParameterModule(const ParameterModule&) = delete;
    ParameterModule& operator=(const ParameterModule&) = delete;

    // An instance for `pData` made from this prototype, or the existing one it shares.
    virtual ParameterModule* Create(ModuleData* pData, DefaultModule* pDefault) const = 0;
    virtual bool LoadModule(ParameterFileSymbolTable* pSymbolTable) = 0;
    virtual void UnloadModule() = 0;
    // Field reflection; a class without it keeps these, which answer false.
    virtual bool GetValue(const char* pPath, char* pValue, unsigned int size);
    virtual bool SetValue(const char* pPath, const char* pValue);
    virtual bool GetInfo(const char* pPath, PList<ParameterParserInfo>& info);

    // Module objects live in the parser's accounted memory, whoever creates or deletes them.
    static void* operator new(size_t size);
    static void* operator new(size_t size, const std::nothrow_t&) noexcept;
    static void operator delete(void* pMemory) noexcept;
    static void operator delete(void* pMemory, const std::nothrow_t&) noexcept;

    // Gives a reference of a client back to the set manager (file mode only).
    void Release();
    uint32_t GetReferenceCount() const;

    char* Name;
    char* Type;
    VersionUnion Version;
    ModeUnion Mode;
    ModuleData* Data;
    bool Loaded;
    uint32_t Modified;
};
