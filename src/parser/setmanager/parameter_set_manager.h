// The object a client of the parser deals with. A derived class registers its module
// prototypes; the client loads one binary, asks for modules by name and mode branch, and
// releases them. The set manager reads the binary's container and mode tree, decides which
// modules are in memory and which instance a branch selects, and answers the text interface
// of the live tuning service.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "parser/foundation/mode_union.h"
#include "parser/foundation/parameter_logging_api.h"
#include "parser/foundation/parameter_mutex.h"
#include "parser/foundation/plist.h"
#include "parser/foundation/version_union.h"
#include "parser/setmanager/mode_table.h"
#include "parser/setmanager/parameter_ct_value.h"
#include "parser/setmanager/tuning_mode.h"
#include "zyra_api.h"

class BinaryFieldReader;
class DefaultModule;
class ModeEntry;
class ModuleData;
class ParameterBinaryFile;
class ParameterDialinWorker;
class ParameterFileSymbolTable;
class ParameterFileSymbolTableEntry;
class ParameterModule;
struct ParameterParserInfo;
namespace ParameterEngine {
struct SchemaLayout;
}
namespace RuntimeSchema {
class RuntimeSchemas;
}

// The text interface the live tuning worker calls back into.
class ZYRA_API IParameterDataAPI : public IParameterLoggingAPI {
public:
    virtual ~IParameterDataAPI() = default;
    virtual bool GetValue(const char* pModePath, const char* pModuleSpec, const char* pNames,
                          char* pValue, unsigned int size) = 0;
    virtual bool SetValue(const char* pModePath, const char* pModuleSpec, const char* pName,
                          const char* pValue) = 0;
    virtual bool GetInfo(const char* pModePath, const char* pModuleSpec,
                         PList<ParameterParserInfo>& info) = 0;
    virtual bool GetActiveModes(char* pText, unsigned int size) = 0;
    virtual bool GetControlValues(char* pText, unsigned int size) = 0;
    virtual bool GetTriggerValues(char* pText, unsigned int size) = 0;
    virtual unsigned int GetChildModes(const char* pModePath, unsigned char* pText,
                                       unsigned int size) = 0;
    virtual bool GetModeShorthand(const char* pModePath, char* pText, unsigned int size) = 0;
};

class ZYRA_API ParameterSetManager : public IModeTable, public IParameterDataAPI {
public:
    // Sizes of the fixed text fields.
    static constexpr unsigned int kErrorTextSize = 2048;
    static constexpr unsigned int kFileNameSize = 1024;
    // The header and section table of an on-demand binary must lie within this many bytes.
    static constexpr unsigned int kOnDemandHeaderSize = 316;

    ParameterSetManager();

    // Virtual operations in the order of the class's table of operations.
    ModeEntry* GetModeEntry(unsigned int id) override;
    ~ParameterSetManager() override;
    bool GetValue(const char* pModePath, const char* pModuleSpec, const char* pNames,
                  char* pValue, unsigned int size) override;
    bool SetValue(const char* pModePath, const char* pModuleSpec, const char* pName,
                  const char* pValue) override;
    bool GetInfo(const char* pModePath, const char* pModuleSpec,
                 PList<ParameterParserInfo>& info) override;
    bool GetActiveModes(char* pText, unsigned int size) override;
    bool GetModeShorthand(const char* pModePath, char* pText, unsigned int size) override;
    bool GetControlValues(char* pText, unsigned int size) override;
    bool GetTriggerValues(char* pText, unsigned int size) override;
    virtual ModeEntry* GetModeEntry(const char* pModePath);
    virtual ModeEntry* GetModeEntry(const TuningMode* pBranch, unsigned int count);
    unsigned int GetChildModes(const char* pModePath, unsigned char* pText,
                               unsigned int size) override;
    const char* GetLoggingIdentifier() override;
    bool LoggingEnabled(ParameterLogging::ParameterLogLevel level) override;
    virtual DefaultModule* GetDefaultModule(char* pType) = 0;
    virtual void SaveAndClearModules() = 0;

    // Loading a binary.
    bool LoadBinaryParameters(const char* pFileName);
    bool LoadBinaryParameters(unsigned char* pBuffer, unsigned long length);
    bool ReadHeader(unsigned char* pBuffer, unsigned int length, unsigned int* pPosition,
                    unsigned int* pSectionTableOffset, unsigned char* pAlignment);
    // ReadHeader without the CRC: the fields from the `length` bytes at `pBuffer`, judged
    // against a binary of `binaryLength` bytes.
    bool ReadHeaderFields(unsigned char* pBuffer, unsigned int length, unsigned int binaryLength,
                          unsigned int* pPosition, unsigned int* pSectionTableOffset,
                          unsigned char* pAlignment);
    bool ReadSectionInfo(unsigned char* pBuffer, unsigned int length, unsigned int* pPosition,
                         unsigned char alignment);
    bool ReadSections(unsigned char* pBuffer, unsigned int length, const char* pFileName,
                      ParameterBinaryFile* pFile, unsigned int fileLength, unsigned int position,
                      IModeTable* pModeTable, unsigned char alignment);
    bool ReadModeSection(unsigned char* pBuffer, unsigned int length, ParameterBinaryFile* pFile,
                         unsigned char alignment);

    // Modules of a loaded binary.
    ParameterModule* CreateModule(const ParameterFileSymbolTableEntry* pEntry, ModuleData* pData,
                                  bool load);
    bool AddModule(const ModuleData* pData, ParameterModule* pModule);

    // Modules by name along a mode branch. In file mode the modes of the branch are read
    // from the file when needed, a module handed out holds a reference on its owning mode,
    // and the least recently used modes without references are unloaded.
    bool LoadMode(const TuningMode* pBranch, unsigned int count, const char* pName);
    bool UnloadMode(const TuningMode* pBranch, unsigned int count);
    // The instance of `pName` that the deepest mode of the branch holding one gives; null
    // when none is loaded. `pPrevious`, the caller's earlier module, is released after the
    // new reference was taken.
    ParameterModule* GetModule(const char* pName, const TuningMode* pBranch, unsigned int count,
                               ParameterModule* pPrevious);
    void ReleaseModule(const ParameterModule* pModule);

    // Field access by text along a branch: `pModuleSpec` is the module name, a dot and the
    // field path inside it. A module found here keeps its reference (file mode).
    bool GetValue(const TuningMode* pBranch, unsigned int count, const char* pModuleSpec,
                  const char* pNames, char* pValue, unsigned int size);
    bool SetValue(const TuningMode* pBranch, unsigned int count, const char* pModuleSpec,
                  const char* pName, const char* pValue);
    bool GetInfo(const TuningMode* pBranch, unsigned int count, const char* pModuleSpec,
                 PList<ParameterParserInfo>& info);

    // Live replacement. Modules that lose their place stay readable for the clients holding
    // them: until the next reload, or for good when they came from an update.
    bool UpdateBinaryParameters(unsigned char* pBuffer, unsigned long length);
    bool ReloadBinaryParameters(bool inBuffer);
    bool UpdateParameters(ParameterSetManager* pSource);
    bool UpdateParameters(ModeEntry* pTarget, ModeEntry* pSource, ParameterSetManager* pSourceSet);

    // Set managers live in the parser's accounted memory, whoever creates or deletes them.
    static void* operator new(size_t size);
    static void* operator new(size_t size, const std::nothrow_t&) noexcept;
    static void operator delete(void* pMemory) noexcept;
    static void operator delete(void* pMemory, const std::nothrow_t&) noexcept;

    // Mode paths in their three text forms, and the tree behind them.
    bool GetModeBranchFromPath(const char* pPath, PList<TuningMode>& branch);
    void GetPathFromModeBranch(const TuningMode* pBranch, unsigned int count, char* pPath,
                               unsigned int size);
    static unsigned short GetModeIndex(const char* pName);
    static unsigned short GetSubModeIndex(unsigned short mode, const char* pName);
    void GetDialinModesString(const char* pPaths, char* pText, unsigned int size);

    // The last error text, with the module's identity when one is given.
    void SetError(const char* pText, const ModuleData* pData = nullptr);
    const char* GetError() const { return m_errorText; }
    bool IsValid() const { return m_valid; }
    const VersionUnion& GetBinaryVersion() const { return m_binaryVersion; }
    ParameterFileSymbolTable* GetSymbolTable() const { return m_symbolTable; }
    ParameterMutex& GetLoadLock() { return m_loadLock; }
    ModeEntry* GetRootMode() const { return m_rootMode; }
    unsigned int GetModeCount() const { return m_modeCount; }
    bool IsFileMode() const { return m_fileName[0] != '\0'; }
    // The layout a run-time schema gives the opaque module registered as `pName`; null when
    // it has none.
    const ParameterEngine::SchemaLayout* GetSchemaLayout(const char* pName) const;

    // Control and trigger values, numbered values that callers outside the parser define.
    // The text forms are "id=value" joined by ","; GetControlValues(char*, unsigned int)
    // above writes it and returns false when the text had no room for all values. Setting
    // one value overwrites the entry of its ID; the SetControlValues forms replace the table.
    bool GetControlValues(PList<ParameterCTValue>& values);
    bool GetControlValue(unsigned int id, ParameterCTValue& value);
    void SetControlValue(const ParameterCTValue& value);
    void SetControlValues(const ParameterCTValue* pValues, unsigned int count);
    void SetControlValues(const PList<ParameterCTValue>& values);
    void SetControlValues(const char* pText);
    bool GetTriggerValues(PList<ParameterCTValue>& values);
    bool GetTriggerValue(unsigned int id, ParameterCTValue& value);
    void SetTriggerValue(const ParameterCTValue& value);
    void SetTriggerValues(const ParameterCTValue* pValues, unsigned int count);
    void SetTriggerValues(const PList<ParameterCTValue>& values);
    void SetTriggerValues(const char* pText);

protected:
    // Section types of the container.
    enum SectionType : uint32_t {
        SymbolSection = 0,
        DataSection = 1,
        ModeSection = 2,
        DataTableSection = 3,
        SectionTypeCount = 4,
    };
    struct SectionInfo {
        uint32_t offset;
        uint32_t size;
    };

    char* m_binaryTag = nullptr;
    bool m_valid = false;
    char m_errorText[kErrorTextSize] = {};
    uint64_t m_binaryFlags = 0;
    VersionUnion m_binaryVersion;
    uint32_t m_sectionCount = 0;
    SectionInfo m_sections[SectionTypeCount] = {};
    bool m_logErrors = true;
    bool m_logWarnings = true;
    bool m_logDebug = true;
    bool m_ignoreMissingModules = false;
    bool m_dialinEnabled = true;
    uint32_t m_valueSetCount = 0;
    std::unordered_map<std::string, DefaultModule*> m_defaultModules;
    ParameterFileSymbolTable* m_symbolTable = nullptr;
    ParameterMutex m_loadLock;
    ParameterMutex m_dataLock;
    uint32_t m_maxActiveModes = 0;
    bool m_onDemand = false;
    char m_fileName[kFileNameSize] = {};
    ModeEntry* m_rootMode = nullptr;
    ModeEntry** m_modes = nullptr;
    uint32_t m_modeCount = 0;
    // The modes in memory that eviction may take out. Its order is that of the modes'
    // LastUse stamps (ModeUseClock), most recent first, once SortActiveModes has run.
    PList<ModeEntry*> m_activeModes;

    // Puts m_activeModes in the order of use. Warm lookups only stamp their modes, so this
    // runs before the order is looked at, under the exclusive side of the load lock.
    void SortActiveModes();

    // A new, empty set manager of this very class with its prototypes registered, which
    // UpdateBinaryParameters loads the new binary into; null when memory ran out. A class
    // that keeps this one takes no updates.
    virtual ParameterSetManager* CreateUpdateSet() { return nullptr; }
    // Gives this set manager a live tuning worker, which then starts after every good load
    // while m_dialinEnabled is set. False when memory ran out.
    bool CreateDialinWorker();
    ParameterDialinWorker* m_dialinWorker = nullptr;
    // What every SaveAndClearModules does: each instance of each DefaultModule moves to
    // m_replacedModules and the instance lists are emptied; the prototypes stay.
    void SaveAndClearDefaultModules();
    // Frees the modules replaced by the last reload or by updates, then the symbol tables
    // and mode trees they came from. A replaced module that a client still holds stays, with
    // the table and tree it names, until a later call finds it released.
    void FreeReplacedParameters();
    // Frees everything a load made: the tree, the mode table, the binary tag, the symbol
    // table and the file it reads from.
    void FreeBinaryParameters();

    bool LoadModules(ModeEntry* pMode, bool load, const char* pName, const TuningMode* pBranch,
                     unsigned int count, int& fileReferences);
    bool LoadModeInternal(const TuningMode* pBranch, unsigned int count, bool& reload,
                          const char* pName);

    // Layouts of opaque modules from run-time schemas; null without any. They outlive every
    // module, the replaced ones included. An update set borrows the ones of the set manager it
    // updates, which outlives it.
    RuntimeSchema::RuntimeSchemas* m_runtimeSchemas = nullptr;
    std::unique_ptr<RuntimeSchema::RuntimeSchemas> m_ownRuntimeSchemas;
    std::list<ParameterModule*> m_replacedModules;
    PList<ParameterFileSymbolTable*> m_retiredSymbolTables{1};
    std::list<ParameterSetManager*> m_updateSets;
    // Sorted by ID, one entry per ID; both guarded by m_valueLock alone.
    PList<ParameterCTValue> m_controlValues;
    PList<ParameterCTValue> m_triggerValues;
    ParameterMutex m_valueLock;

private:
    // The refusals of a header whose fields were all read, in their order; null when it is
    // good. A formatted refusal is composed in the error text itself. A version below the
    // mode tree version only records its warning.
    const char* JudgeHeader(const char* pTag, uint32_t headerSize, unsigned int length);
    // Reads the header from `pHeader`, the first `headerLength` bytes of the file (which it
    // frees), checks the file's CRC again, then reads the sections from the file's first
    // bytes, keeping to the file for everything else.
    void LoadOnDemand(const char* pFileName, ParameterBinaryFile* pFile, unsigned char* pHeader,
                      unsigned int headerLength);
    void LogLoadCompleted();
    // The buffer load without starting the worker, which the file load shares.
    bool LoadBinaryBuffer(unsigned char* pBuffer, unsigned long length);
    void StartDialinWorker();
    // Creates each module of the symbol table and files it under its mode.
    bool CreateModules();

    // A table of one Default node, for binaries without a mode section.
    bool MakeDefaultModeTable();
    bool ReadModeRecords(BinaryFieldReader& reader, unsigned char alignment);
    // Makes the node of one record, or gives its parent a second id, and hangs it in the tree.
    // False when memory ran out.
    bool PlaceMode(uint32_t id, const ModeUnion& mode, uint32_t parentId, uint32_t linkId,
                   bool pinned);
    // Number of steps from `start` on that share the full Mode of step `start`.
    static unsigned int GroupLength(const TuningMode* pBranch, unsigned int count,
                                    unsigned int start);

    // The operations of one value table, shared by the control and trigger forms. Each
    // holds m_valueLock exclusively for the whole call.
    bool CopyValues(PList<ParameterCTValue>& table, PList<ParameterCTValue>& values);
    bool FormatValues(PList<ParameterCTValue>& table, char* pText, unsigned int size);
    bool FindValue(PList<ParameterCTValue>& table, unsigned int id, ParameterCTValue& value);
    void StoreValue(PList<ParameterCTValue>& table, const ParameterCTValue& value);
    void ReplaceValues(PList<ParameterCTValue>& table, const ParameterCTValue* pValues,
                       unsigned int count);
    void ReplaceValues(PList<ParameterCTValue>& table, const PList<ParameterCTValue>& values);
    void ReplaceValues(PList<ParameterCTValue>& table, const char* pText);

    // The file an on-demand binary is read from, kept as long as its symbol table.
    ParameterBinaryFile* m_pBinaryFile = nullptr;
    // Nodes that no parent holds (their parent came later in the file, or there was a root
    // already); each is freed with whatever hangs below it.
    PList<ModeEntry*> m_detachedModes;

    // A mode tree a reload took out of use: a subtree root and, for the tree's root, its
    // mode table. Replaced modules still name their owning modes in it, and its links name
    // slots of the table, so it is freed with them.
    struct RetiredModeTree {
        ModeEntry* root;
        ModeEntry** modes;
        // The symbol table retired with the tree.
        ParameterFileSymbolTable* table;
    };
    PList<RetiredModeTree> m_retiredModeTrees{1};
    // Moves the symbol table and the mode tree of the current load to the retained lists.
    void RetireBinary();

    // GetModule once a tree is there: the instance chosen and referenced, or null.
    ParameterModule* SelectModule(const char* pName, const TuningMode* pBranch,
                                  unsigned int count);
    // Loads and walks a branch whose modes are all in memory and listed as active, with no
    // eviction due, in file mode. Loading such a branch only stamps its tracked modes, which
    // needs no more than the shared side of the load lock. Gives the deepest instance along
    // the branch (null when none) and whether the root holds the name; false, with nothing
    // changed or logged, for any other branch.
    bool WalkWarmBranch(const std::string& name, const TuningMode* pBranch, unsigned int count,
                        ParameterModule*& pChoice, bool& inRoot);
    void AddOwnerReference(ParameterModule* pModule);
    void LogModuleLoading(ModeEntry* pMode, ModeEntry* pTarget, bool load, const char* pName,
                          const TuningMode* pBranch, unsigned int count);
    bool LoadModeModules(ModeEntry* pTarget, bool tracking, std::vector<ModeEntry*>& touched);
    void UnloadModeModules(ModeEntry* pTarget);
    // Whether loading `pTarget` touches it: from Usecase on, and holding modules of its own.
    static bool IsTrackedMode(ModeEntry* pTarget);
    // How many modes m_activeModes keeps before eviction starts.
    uint32_t ActiveModeLimit() const;
    // Stamps a tracked mode as the most recently used, listing it when it was not.
    void TouchActiveMode(ModeEntry* pMode);
    // Takes a mode out of m_activeModes, when there.
    void ForgetActiveMode(ModeEntry* pMode);
    void EvictModes(bool tracking, const char* pName, const TuningMode* pBranch,
                    unsigned int count, int& fileReferences);
    // Reloads a file that changed on disk; false when other readers of the data keep this
    // thread from taking them over.
    bool ReloadChangedFile();
    // The module of GetValue, SetValue and GetInfo: the part of `pModuleSpec` before its
    // first dot names it; `pRest` receives what stands behind that dot.
    ParameterModule* FindNamedModule(const TuningMode* pBranch, unsigned int count,
                                     const char* pModuleSpec, char* pRest, unsigned int restSize);
    bool WriteFieldValues(ParameterModule* pModule, const char* pRest, char* pValue,
                          unsigned int size);
    // Taking the modules of an update set over. The running set owns each module once:
    // through a DefaultModule's instance list, or through m_replacedModules.
    void TakeOverModule(ModeEntry* pTarget, ParameterModule* pModule,
                        ParameterSetManager* pSourceSet);
    void RetainModule(ParameterModule* pModule);
    // FreeReplacedParameters; with `keepHeld` false, at the end of the set manager, what
    // clients still hold goes too.
    void FreeReplacedModules(bool keepHeld);
    void AdoptModule(ParameterModule* pModule);
};
