// Live replacement: taking a new binary into a running set manager, and reading a changed
// file again, while clients keep the modules they hold.
#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "parser/file/parameter_binary_file.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/default_module.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "parser/setmanager/set_manager_log.h"
#include "zyra/memory.h"
#include "zyra/os_utils.h"

namespace {

// Whether a client, not the text interface, holds a reference on `pModule` in its owning mode.
bool IsHeld(const ParameterModule* pModule) {
    return pModule->Data != nullptr && pModule->Data->Mode != nullptr &&
           pModule->Data->Mode->HasClientReference(pModule);
}

bool Holds(const DefaultModule* pDefault, const ParameterModule* pModule) {
    for (ModuleLink* pLink = pDefault->InstanceHead; pLink != nullptr; pLink = pLink->Next) {
        if (pLink->Module == pModule) {
            return true;
        }
    }
    return false;
}

// Every module a node of the tree `modes` names.
std::unordered_set<const ParameterModule*> FiledModules(ModeEntry* const* modes, uint32_t count) {
    std::unordered_set<const ParameterModule*> filed;
    for (uint32_t i = 0; i < count; ++i) {
        if (modes[i] != nullptr) {
            for (const auto& entry : modes[i]->Modules) {
                filed.insert(entry.second.Module);
            }
        }
    }
    return filed;
}

}  // namespace

bool ParameterSetManager::UpdateBinaryParameters(unsigned char* pBuffer, unsigned long length) {
    ParameterMutexLock dataLock(&m_dataLock, false);
    // Releases of clients take only the load lock.
    ParameterMutexLock loadLock(&m_loadLock, false);
    if (!m_valid) {
        SetError("UpdateBinaryParameters failed, original parameter load is invalid");
        return false;
    }
    // Everything goes into memory first: the file cannot be read on demand once its modules
    // were replaced.
    if (IsFileMode() && !ReloadBinaryParameters(true)) {
        SetError("UpdateBinaryParameters failed to reload parameters in buffer mode");
        return false;
    }
    ParameterSetManager* pUpdate = CreateUpdateSet();
    if (pUpdate != nullptr) {
        // Only this set manager serves tuning clients; its update sets hold data alone.
        pUpdate->m_dialinEnabled = false;
    }
    if (pUpdate != nullptr && pUpdate->LoadBinaryParameters(pBuffer, length)) {
        UpdateParameters(pUpdate);
    } else {
        SetError("UpdateBinaryParameters failed to load parameters");
    }
    // Kept to the end: modules taken over have their identity in it.
    if (pUpdate != nullptr) {
        m_updateSets.push_back(pUpdate);
    }
    return true;
}

bool ParameterSetManager::ReloadBinaryParameters(bool inBuffer) {
    ParameterMutexLock dataLock(&m_dataLock, false);
    // Releases of clients take only the load lock, and the retired tree is where they go.
    ParameterMutexLock loadLock(&m_loadLock, false);
    if (m_fileName[0] == '\0') {
        SetError("ReloadBinaryParameters called with empty file name");
        return false;
    }
    LOG_DEBUG("Reloading binary file %s%s", m_fileName, inBuffer ? " in buffer mode" : "");
    // What the reload before this one replaced goes now: old modules live one generation.
    FreeReplacedParameters();
    SaveAndClearModules();
    RetireBinary();
    FreeBinaryParameters();

    char fileName[kFileNameSize];
    Zyra::OsUtils::StrLCpy(fileName, m_fileName, sizeof(fileName));
    if (!inBuffer) {
        m_fileName[0] = '\0';
        return LoadBinaryParameters(fileName);
    }
    auto* pFile = ParserNew<ParameterBinaryFile>(fileName, this, true);
    bool result = false;
    if (pFile == nullptr || !pFile->IsOpened()) {
        SetError("ReloadBinaryParameters: Failed to open file");
    } else if (!pFile->IsCrcValid()) {
        SetError("ReloadBinaryParameters: File CRC check failed");
    } else {
        // Without a file name this object is in buffer mode from now on.
        m_fileName[0] = '\0';
        unsigned char* pBuffer = pFile->Read(0, pFile->FileSize());
        if (pBuffer == nullptr) {
            SetError("ReloadBinaryParameters: Failed to allocate space to read data from file");
        } else {
            result = LoadBinaryParameters(pBuffer, pFile->FileSize());
            ZyraFree(pBuffer);
        }
    }
    ParserDelete(pFile);
    return result;
}

void ParameterSetManager::RetireBinary() {
    // Where the lists cannot grow, the old load is leaked rather than freed under clients.
    ParameterFileSymbolTable* pTable = m_symbolTable;
    if (m_symbolTable != nullptr) {
        m_retiredSymbolTables.Insert(m_retiredSymbolTables.Count(), m_symbolTable);
        m_symbolTable = nullptr;
    }
    if (m_rootMode != nullptr) {
        m_retiredModeTrees.Insert(m_retiredModeTrees.Count(),
                                  RetiredModeTree{m_rootMode, m_modes, pTable});
        m_rootMode = nullptr;
        m_modes = nullptr;
    }
    for (uint32_t i = 0; i < m_detachedModes.Count(); ++i) {
        m_retiredModeTrees.Insert(m_retiredModeTrees.Count(),
                                  RetiredModeTree{m_detachedModes[i], nullptr, pTable});
    }
    while (m_detachedModes.Remove(0)) {
    }
}

void ParameterSetManager::SaveAndClearDefaultModules() {
    for (auto& entry : m_defaultModules) {
        DefaultModule* pDefault = entry.second;
        if (pDefault == nullptr) {
            continue;
        }
        pDefault->TakeInstances(m_replacedModules);
    }
}

void ParameterSetManager::FreeReplacedParameters() { FreeReplacedModules(true); }

void ParameterSetManager::FreeReplacedModules(bool keepHeld) {
    LOG_DEBUG("FreeReplacedParameters called");
    // Modules first: a module's destructor may look at its identity in a table. One that a
    // client still holds is kept, and so are the table and the tree its identity lies in. So is
    // one a mode of the running tree still names: an update takes a shared module's siblings
    // into the mode it reaches first, and the other modes sharing it keep the old one.
    std::unordered_set<const ParameterModule*> filed;
    if (keepHeld) {
        filed = FiledModules(m_modes, m_modeCount);
    }
    for (auto it = m_replacedModules.begin(); it != m_replacedModules.end();) {
        if (keepHeld && (IsHeld(*it) || filed.count(*it) != 0)) {
            ++it;
        } else {
            delete *it;
            it = m_replacedModules.erase(it);
        }
    }
    auto named = [this](const ParameterFileSymbolTable* pTable) {
        return std::any_of(m_replacedModules.begin(), m_replacedModules.end(),
                           [pTable](const ParameterModule* pModule) {
                               return pModule->Data != nullptr &&
                                      pModule->Data->SymbolTable == pTable;
                           });
    };
    for (uint32_t i = m_retiredSymbolTables.Count(); i-- > 0;) {
        if (!named(m_retiredSymbolTables[i])) {
            ParserDelete(m_retiredSymbolTables[i]);
            m_retiredSymbolTables.Remove(i);
        }
    }
    for (uint32_t i = m_retiredModeTrees.Count(); i-- > 0;) {
        if (!named(m_retiredModeTrees[i].table)) {
            ParserDelete(m_retiredModeTrees[i].root);
            ZyraFree(m_retiredModeTrees[i].modes);
            m_retiredModeTrees.Remove(i);
        }
    }
}

bool ParameterSetManager::UpdateParameters(ParameterSetManager* pSource) {
    ParameterMutexLock dataLock(&m_dataLock, false);
    ParameterMutexLock loadLock(&m_loadLock, false);
    if (pSource == nullptr || !m_valid || pSource->GetRootMode() == nullptr) {
        return false;
    }
    return UpdateParameters(m_rootMode, pSource->GetRootMode(), pSource);
}

bool ParameterSetManager::UpdateParameters(ModeEntry* pTarget, ModeEntry* pSource,
                                           ParameterSetManager* pSourceSet) {
    if (pTarget == nullptr || pSource == nullptr) {
        return false;
    }
    ParameterMutexLock dataLock(&m_dataLock, false);
    ParameterMutexLock loadLock(&m_loadLock, false);
    // The source's following siblings go into this same target; a linked target keeps
    // borrowing, and the modules stay with the source.
    for (ModeEntry* pMode = pSource; pMode != nullptr && pTarget->Link == nullptr;
         pMode = pMode->NextSibling) {
        while (!pMode->Modules.empty()) {
            auto first = pMode->Modules.begin();
            ParameterModule* pModule = first->second.Module;
            pMode->Modules.erase(first);
            TakeOverModule(pTarget, pModule, pSourceSet);
        }
    }
    bool result = true;
    for (ModeEntry* pChild = pSource->FirstChild; pChild != nullptr && result;
         pChild = pChild->NextSibling) {
        const TuningMode step{pChild->Mode.mode, pChild->Mode.subMode, 0};
        result = UpdateParameters(pTarget->FindMode(&step), pChild, pSourceSet);
    }
    return result;
}

void ParameterSetManager::TakeOverModule(ModeEntry* pTarget, ParameterModule* pModule,
                                         ParameterSetManager* pSourceSet) {
    DefaultModule* pSourceDefault =
        pSourceSet != nullptr ? pSourceSet->GetDefaultModule(pModule->Type) : nullptr;
    if (pSourceDefault != nullptr) {
        pSourceDefault->RemoveModule(pModule);
    }
    ParameterModule* pOld = pTarget->ReplaceModule(pModule);
    if (pOld == nullptr) {
        // A module the running mode never had is not entered: nothing would own it there.
        pTarget->Modules.erase(pModule->Name);
        RetainModule(pModule);
        return;
    }
    if (pOld == pModule) {
        // A module shared by several source modes came to this target before.
        return;
    }
    DefaultModule* pDefault = GetDefaultModule(pOld->Type);
    if (pDefault != nullptr) {
        pDefault->RemoveModule(pOld);
    }
    RetainModule(pOld);
    AdoptModule(pModule);
}

void ParameterSetManager::RetainModule(ParameterModule* pModule) {
    DefaultModule* pDefault = GetDefaultModule(pModule->Type);
    if ((pDefault != nullptr && Holds(pDefault, pModule)) ||
        std::find(m_replacedModules.begin(), m_replacedModules.end(), pModule) !=
            m_replacedModules.end()) {
        return;
    }
    m_replacedModules.push_back(pModule);
}

void ParameterSetManager::AdoptModule(ParameterModule* pModule) {
    m_replacedModules.remove(pModule);
    DefaultModule* pDefault = GetDefaultModule(pModule->Type);
    if (pDefault == nullptr || (!Holds(pDefault, pModule) && !pDefault->AddModule(pModule))) {
        RetainModule(pModule);
    }
}
