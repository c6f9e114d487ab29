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
    };

    ~CatalogueSetManager() override;

    // Registers `pModule` under its Type, replacing an earlier prototype of that Type. Takes
    // ownership: a module that cannot be registered is logged and destroyed.
    void AddModule(ParameterModule* pModule);
    DefaultModule* GetDefaultModule(char* pType) override;
    void SaveAndClearModules() override;

protected:
    // `pClassName` must outlive the object: a literal of the derived class. Throws
    // std::bad_alloc, with nothing registered left behind, when memory runs out.
    CatalogueSetManager(const char* pClassName, const Registration* pModules, size_t count);

private:
    // False, logged, when memory ran out; the module is then destroyed.
    bool Register(ParameterModule* pModule);
    void DestroyDefaultModules();

    const char* m_className;
    // Entries that a later AddModule of the same Type replaced. Their instances may still be
    // filed under modes, so they live as long as this object.
    std::vector<DefaultModule*> m_replacedDefaults;
};
