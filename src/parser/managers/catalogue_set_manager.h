// What the four derived set managers share: each registers the prototypes of its module
// catalogue, in order, at construction, and only the table differs. The generated classes add
// a GetModule_<name> accessor per registered name and make update sets of their own class.
#pragma once

#include <cstddef>
#include <vector>

#include "parser/setmanager/parameter_set_manager.h"
#include "zyra_api.h"

class ZYRA_API CatalogueSetManager : public ParameterSetManager {
public:
    // One registered name and the maker of its class's prototype, which throws std::bad_alloc
    // when memory runs out.
    struct Registration {
        const char* name;
        ParameterModule* (*makePrototype)(const char* pName);
        // The class's namespace, top structure and version, which a run-time schema of the
        // namespace has to declare.
        const char* nameSpace;
        const char* top;
        unsigned short major;
        unsigned short minor;
        unsigned int patch;
    };

    ~CatalogueSetManager() override;

    // Registers `pModule` under its Type, replacing an earlier prototype of that Type. Takes
    // ownership: a module that cannot be registered is logged and destroyed.
    void AddModule(ParameterModule* pModule);
    DefaultModule* GetDefaultModule(char* pType) override;
    void SaveAndClearModules() override;

    // Reads the run-time schemas in `pDirectory` that describe opaque modules of this set
    // manager, as it read the directories of ZYRA_SCHEMA_PATH at construction. Only before a
    // binary is loaded. False, with the error text set, when the call came too late, the
    // directory cannot be read, or one of its schemas was refused.
    bool AddSchemaDirectory(const char* pDirectory);

protected:
    // `pClassName` and `pFamily` must outlive the object: literals of the derived class.
    // `pRunning` is the set manager an update set is made for, whose run-time schemas it
    // shares; without one the directories of ZYRA_SCHEMA_PATH are read. Throws
    // std::bad_alloc, with nothing registered left behind, when memory runs out.
    CatalogueSetManager(const char* pClassName, const char* pFamily, const Registration* pModules,
                        size_t count, const CatalogueSetManager* pRunning);

private:
    // The run-time schemas of this set manager, made on first use.
    RuntimeSchema::RuntimeSchemas& Schemas();
    void ReadSchemaPath();

    // False, logged, when memory ran out; the module is then destroyed.
    bool Register(ParameterModule* pModule);
    void DestroyDefaultModules();

    const char* m_className;
    const char* m_family;
    const Registration* m_modules;
    size_t m_moduleCount;
    // Entries that a later AddModule of the same Type replaced. Their instances may still be
    // filed under modes, so they live as long as this object.
    std::vector<DefaultModule*> m_replacedDefaults;
};
