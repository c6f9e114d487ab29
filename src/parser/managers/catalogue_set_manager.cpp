#include "parser/managers/catalogue_set_manager.h"

#include <cstdlib>
#include <new>
#include <string>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_banner.h"
#include "parser/foundation/parser_object.h"
#include "parser/runtimeschema/runtime_schemas.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/set_manager_log.h"
#include "zyra/os_utils.h"

namespace {

// Every catalogue binary is read on demand, with this many modes in memory at most.
constexpr uint32_t kMaxActiveModes = 17;

// Directories of run-time schemas, separated by ':'.
constexpr char kSchemaPathVariable[] = "ZYRA_SCHEMA_PATH";

}  // namespace

CatalogueSetManager::CatalogueSetManager(const char* pClassName, const char* pFamily,
                                         const Registration* pModules, size_t count,
                                         const CatalogueSetManager* pRunning)
    : m_className(pClassName), m_family(pFamily), m_modules(pModules), m_moduleCount(count) {
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
    if (pRunning != nullptr) {
        m_runtimeSchemas = pRunning->m_runtimeSchemas;
    } else {
        ReadSchemaPath();
    }
    LOG_DEBUG("%s constructed: %s\n", m_className, kParameterParserBanner);
}

void CatalogueSetManager::ReadSchemaPath() {
    const char* pPath = std::getenv(kSchemaPathVariable);
    if (pPath == nullptr) {
        return;
    }
    try {
        const std::string path = pPath;
        std::string error;
        for (size_t start = 0; start <= path.size();) {
            size_t end = path.find(':', start);
            if (end == std::string::npos) {
                end = path.size();
            }
            if (end > start) {
                Schemas().AddDirectory(path.substr(start, end - start), this, error);
            }
            start = end + 1;
        }
    } catch (const std::bad_alloc&) {
        // The modules stay opaque; the set manager works without schemas.
        LOG_ERROR("Out of memory reading %s\n", kSchemaPathVariable);
    }
}

RuntimeSchema::RuntimeSchemas& CatalogueSetManager::Schemas() {
    if (m_runtimeSchemas == nullptr) {
        std::vector<RuntimeSchema::CatalogueClass> catalogue;
        for (size_t i = 0; i < m_moduleCount; ++i) {
            const Registration& entry = m_modules[i];
            // The names of one class stand together.
            if (i == 0 || entry.makePrototype != m_modules[i - 1].makePrototype) {
                catalogue.push_back({entry.nameSpace, entry.top, entry.major, entry.minor,
                                     entry.patch, {}});
            }
            catalogue.back().names.push_back(entry.name);
        }
        m_ownRuntimeSchemas.reset(
            new RuntimeSchema::RuntimeSchemas(std::move(catalogue), m_family));
        m_runtimeSchemas = m_ownRuntimeSchemas.get();
    }
    return *m_runtimeSchemas;
}

bool CatalogueSetManager::AddSchemaDirectory(const char* pDirectory) {
    ParameterMutexLock lock(&m_dataLock, false);
    if (pDirectory == nullptr) {
        LOG_ERROR("AddSchemaDirectory called with a null directory\n");
        return false;
    }
    // Modules of the loaded binary, and of its update sets, keep the layouts they have.
    if (m_valid) {
        LOG_ERROR("Schema directory %s is added after a load; it is ignored\n", pDirectory);
        return false;
    }
    std::string error;
    try {
        if (Schemas().AddDirectory(pDirectory, this, error)) {
            return true;
        }
    } catch (const std::bad_alloc&) {
        error = "Out of memory reading schema directory";
        LOG_ERROR("%s\n", error.c_str());
    }
    // Logged already, so only kept.
    Zyra::OsUtils::StrLCpy(m_errorText, error.c_str(), sizeof(m_errorText));
    return false;
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
