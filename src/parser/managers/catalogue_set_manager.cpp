#include "parser/managers/catalogue_set_manager.h"

#include <new>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_banner.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/set_manager_log.h"

namespace {

// Every catalogue binary is read on demand, with this many modes in memory at most.
constexpr uint32_t kMaxActiveModes = 17;

}  // namespace

CatalogueSetManager::CatalogueSetManager(const char* pClassName, const Registration* pModules,
                                         size_t count)
    : m_className(pClassName) {
    m_maxActiveModes = kMaxActiveModes;
    m_onDemand = true;
    m_logErrors = true;
    m_logWarnings = true;
    m_logDebug = true;
    try {
        for (size_t i = 0; i < count; ++i) {
            if (!Register(pModules[i].makePrototype(pModules[i].name))) {
                throw std::bad_alloc();
            }
        }
    } catch (...) {
        // The base destructor runs next and knows nothing of the prototypes.
        DestroyDefaultModules();
        throw;
    }
    LOG_DEBUG("%s constructed: %s\n", m_className, kParameterParserBanner);
}

CatalogueSetManager::~CatalogueSetManager() {
    LOG_DEBUG("%s deleting\n", m_className);
    ParameterMutexLock lock(&m_dataLock, false);
    DestroyDefaultModules();
}

void CatalogueSetManager::DestroyDefaultModules() {
    for (auto& entry : m_defaultModules) {
        ParserDelete(entry.second);
    }
    m_defaultModules.clear();
    for (DefaultModule* pDefault : m_replacedDefaults) {
        ParserDelete(pDefault);
    }
    m_replacedDefaults.clear();
}

void CatalogueSetManager::AddModule(ParameterModule* pModule) { Register(pModule); }

bool CatalogueSetManager::Register(ParameterModule* pModule) {
    if (pModule == nullptr) {
        return true;
    }
    const char* pName = pModule->Name != nullptr ? pModule->Name : "";
    ParameterMutexLock lock(&m_dataLock, false);
    // A prototype whose texts could not be copied would be filed under a wrong Type.
    auto* pDefault = pModule->Name != nullptr && pModule->Type != nullptr
                         ? ParserNew<DefaultModule>(pModule)
                         : nullptr;
    if (pDefault == nullptr) {
        LOG_ERROR("Failed to register module %s\n", pName);
        delete pModule;
        return false;
    }
    try {
        DefaultModule*& pSlot = m_defaultModules[pModule->Type];
        if (pSlot != nullptr) {
            m_replacedDefaults.push_back(pSlot);
        }
        pSlot = pDefault;
    } catch (const std::bad_alloc&) {
        LOG_ERROR("Failed to register module %s\n", pName);
        ParserDelete(pDefault);
        return false;
    }
    return true;
}

DefaultModule* CatalogueSetManager::GetDefaultModule(char* pType) {
    ParameterMutexLock lock(&m_dataLock, true);
    if (pType != nullptr) {
        auto found = m_defaultModules.find(pType);
        if (found != m_defaultModules.end()) {
            return found->second;
        }
    }
    LOG_ERROR("Failed to find module %s in DefaultModuleMap\n",
              pType != nullptr ? pType : "(null)");
    return nullptr;
}

void CatalogueSetManager::SaveAndClearModules() { SaveAndClearDefaultModules(); }
