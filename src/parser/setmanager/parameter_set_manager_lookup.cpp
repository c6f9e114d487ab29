// Handing out modules: the instance a branch selects, the references held on owning modes,
// and loading or unloading the modes of a branch on request.
#include <string>

#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/setmanager/branch_walk.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/mode_use_clock.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "parser/setmanager/set_manager_log.h"

namespace {

constexpr unsigned int kBranchPathSize = 256;
constexpr unsigned int kModePathSize = 128;
// Deeper branches take the exclusive path.
constexpr unsigned int kWarmBranchModes = ModeUseClock::kStampsPerCall;

bool StartsAtDefault(const TuningMode* pBranch) {
    return pBranch[0].Mode == 0 && pBranch[0].SubMode == 0;
}

// The mode that owns `pModule` and counts its references, or null after logging which link
// to it is missing; `pAction` says what was attempted, as "release".
ModeEntry* OwningMode(const ParameterModule* pModule, const char* pAction,
                      IParameterLoggingAPI* pLogging) {
    if (pModule->Data == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "Attempt to %s module with a nullptr Data object.  Mode: %d, "
                                "SubMode: %d, Module %s",
                                pAction, pModule->Mode.mode, pModule->Mode.subMode, pModule->Name);
        return nullptr;
    }
    if (pModule->Data->Mode == nullptr) {
        ParameterLogging::Write(pLogging, ParameterLogging::Error, __FILE__, __LINE__,
                                "Attempt to %s module with a nullptr Data->Mode object.  Mode: "
                                "%d, SubMode: %d, Module %s",
                                pAction, pModule->Mode.mode, pModule->Mode.subMode, pModule->Name);
        return nullptr;
    }
    return pModule->Data->Mode;
}

}  // namespace

ParameterModule* ParameterSetManager::GetModule(const char* pName, const TuningMode* pBranch,
                                                unsigned int count, ParameterModule* pPrevious) {
    ParameterMutexLock dataLock(&m_dataLock, true);
    ParameterModule* pChoice = nullptr;
    if (pName == nullptr) {
        SetError("GetModule called with nullptr module name");
    } else if (m_rootMode == nullptr) {
        LOG_ERROR("GetModule %s called with no binary loaded", pName);
    } else {
        pChoice = SelectModule(pName, pBranch, count);
    }
    // Released only now, so that a caller swapping a module for itself never drops its
    // mode's count to zero on the way.
    if (pPrevious != nullptr) {
        pPrevious->Release();
    }
    return pChoice;
}

ParameterModule* ParameterSetManager::SelectModule(const char* pName, const TuningMode* pBranch,
                                                   unsigned int count) {
    // The branch as text, made only for a message.
    char branchPath[kBranchPathSize] = "";
    const auto path = [&]() -> const char* {
        if (branchPath[0] == '\0') {
            GetPathFromModeBranch(pBranch, count, branchPath, sizeof(branchPath));
        }
        return branchPath;
    };
    const auto notInDefaultScenario = [&] {
        char rootPath[kModePathSize] = "";
        m_rootMode->GetModePath(rootPath, sizeof(rootPath));
        LOG_WARNING("GetModule %s module not found in default scenario (%s), mode path: %s",
                    pName, rootPath, path());
    };
    const auto handOut = [&](ParameterModule* pChoice, bool fileMode) -> ParameterModule* {
        if (pChoice != nullptr && fileMode) {
            AddOwnerReference(pChoice);
        }
        if (pChoice == nullptr || !pChoice->Loaded) {
            LOG_ERROR("GetModule %s failed to find a loaded module in %s, returning null", pName,
                      path());
            return nullptr;
        }
        return pChoice;
    };
    if (pBranch == nullptr && count != 0) {
        LOG_ERROR("GetModule(%s) called with modeBranch == null and modeCount = %d, will return "
                  "default mode module data",
                  pName, static_cast<int>(count));
    } else if (pBranch != nullptr && count != 0 && !StartsAtDefault(pBranch)) {
        LOG_ERROR("GetModule(%s) called with first mode != Default, might not return module data "
                  "from the desired mode path: %s",
                  pName, path());
    }
    if (m_defaultModules.empty()) {
        LOG_ERROR("GetModule(%s) Uninitialized Set Manager. this: %lx, SymbolTable: %lx, Modes: "
                  "%lx, ModeCount: %d, RootMode: %lx",
                  pName, reinterpret_cast<unsigned long>(this),
                  reinterpret_cast<unsigned long>(m_symbolTable),
                  reinterpret_cast<unsigned long>(m_modes), static_cast<int>(m_modeCount),
                  reinterpret_cast<unsigned long>(m_rootMode));
    }
    const std::string name(pName);
    {
        // Most lookups find their branch in memory; they go on side by side.
        ParameterMutexLock sharedLoad(&m_loadLock, true);
        ParameterModule* pChoice = nullptr;
        bool inRoot = false;
        if (WalkWarmBranch(name, pBranch, count, pChoice, inRoot)) {
            if (!inRoot) {
                notInDefaultScenario();
                if (pBranch == nullptr || count < 2) {
                    return nullptr;
                }
            }
            return handOut(pChoice, true);
        }
    }
    // From loading the branch to the reference on the choice nothing may unload its modes.
    ParameterMutexLock loadLock(&m_loadLock, false);
    const bool fileMode = IsFileMode();
    if (fileMode) {
        LoadMode(pBranch, count, pName);
    }
    // A reload inside LoadMode may have failed and left no tree.
    if (m_rootMode == nullptr) {
        LOG_ERROR("GetModule %s called with no binary loaded", pName);
        return nullptr;
    }
    ParameterModule* pChoice = m_rootMode->FindModule(name);
    if (pChoice != nullptr) {
        if (!pChoice->Loaded) {
            pChoice->LoadModule(m_symbolTable);
        }
    } else {
        notInDefaultScenario();
        if (pBranch == nullptr || count < 2) {
            return nullptr;
        }
    }
    // The deepest mode along the branch that holds the module gives it.
    BranchWalk walk(m_rootMode, count >= 2 ? pBranch : nullptr, count);
    while (ModeEntry* pMode = walk.Next()) {
        ParameterModule* pModule = pMode->FindModule(name);
        if (pModule == nullptr) {
            continue;
        }
        if (!pModule->Loaded && !pModule->LoadModule(m_symbolTable)) {
            LOG_ERROR("Failed to load module %s, path: %s, skipping", pName,
                      pModule->Data != nullptr ? pModule->Data->ModulePath : "");
            continue;
        }
        pChoice = pModule;
    }
    return handOut(pChoice, fileMode);
}

bool ParameterSetManager::WalkWarmBranch(const std::string& name, const TuningMode* pBranch,
                                         unsigned int count, ParameterModule*& pChoice,
                                         bool& inRoot) {
    // Eviction is due while the list is over its limit; the exclusive path does it.
    if (!IsFileMode() || m_symbolTable == nullptr || m_rootMode == nullptr ||
        m_activeModes.Count() > ActiveModeLimit()) {
        return false;
    }
    // The walk that loading the branch makes; the lookup's walk is the same one.
    ModeEntry* touched[kWarmBranchModes];
    unsigned int touchedCount = 0;
    const auto warm = [&](ModeEntry* pMode) {
        ModeEntry* pTarget = pMode->LinkTarget();
        if (!pTarget->Loaded) {
            return false;
        }
        if (!IsTrackedMode(pTarget)) {
            return true;
        }
        if (pTarget->LastUse.load(std::memory_order_relaxed) == 0 ||
            touchedCount == kWarmBranchModes) {
            return false;
        }
        touched[touchedCount++] = pTarget;
        return true;
    };
    // Modules shared in from a mode that was unloaded since are not in memory.
    const auto loaded = [](ParameterModule* pModule) {
        return pModule == nullptr || pModule->Loaded;
    };
    pChoice = m_rootMode->FindModule(name);
    inRoot = pChoice != nullptr;
    if (!warm(m_rootMode) || !loaded(pChoice)) {
        return false;
    }
    BranchWalk walk(m_rootMode, pBranch, count);
    while (ModeEntry* pMode = walk.Next()) {
        ParameterModule* pModule = pMode->FindModule(name);
        if (!warm(pMode) || !loaded(pModule)) {
            return false;
        }
        if (pModule != nullptr) {
            pChoice = pModule;
        }
    }
    if (touchedCount == 0) {
        return true;
    }
    // One block of stamps for the whole walk: the last mode touched is the most recent, and
    // walks of other threads a tick of the clock apart do not interleave with this one.
    const uint64_t first = ModeUseClock::Take(touchedCount);
    // Relaxed: the stamps are read under the exclusive side, which waits for this reader to
    // leave and so sees them.
    for (unsigned int i = 0; i < touchedCount; ++i) {
        touched[i]->LastUse.store(first + i, std::memory_order_relaxed);
    }
    return true;
}

void ParameterSetManager::AddOwnerReference(ParameterModule* pModule) {
    // The owning mode counts, which is not always the mode the branch found.
    ModeEntry* pOwner = OwningMode(pModule, "add reference to", this);
    if (pOwner != nullptr) {
        pOwner->AddReference(pModule);
    }
}

void ParameterSetManager::ReleaseModule(const ParameterModule* pModule) {
    if (pModule == nullptr) {
        return;
    }
    // Shared: the counts are atomic, and unloading, which drops them, is exclusive.
    ParameterMutexLock lock(&m_loadLock, true);
    ModeEntry* pOwner = OwningMode(pModule, "release", this);
    if (pOwner != nullptr) {
        pOwner->ReleaseReference(const_cast<ParameterModule*>(pModule));
    }
}

bool ParameterSetManager::LoadMode(const TuningMode* pBranch, unsigned int count,
                                   const char* pName) {
    ParameterMutexLock lock(&m_loadLock, false);
    if (m_symbolTable == nullptr) {
        SetError("LoadMode called with no binary file loaded");
        return false;
    }
    if (!IsFileMode()) {
        SetError("LoadMode is not valid in buffer mode");
        return false;
    }
    bool reload = false;
    bool result = LoadModeInternal(pBranch, count, reload, pName);
    // A file changed on disk costs one reload and one more try. A second failure is left
    // to the next call's own reload: a second one here would free the modules the first
    // kept for their holders, the caller's previous module among them, before GetModule
    // gives that back.
    if (reload && ReloadChangedFile()) {
        result = LoadModeInternal(pBranch, count, reload, pName);
    }
    return result;
}

bool ParameterSetManager::ReloadChangedFile() {
    // This thread holds the load lock and, as a rule, the data lock shared. Other readers of
    // the data may be waiting for the load lock, so waiting for them to leave could wait for
    // ever: the reload happens only when no other thread reads.
    if (!m_dataLock.TryLock(false)) {
        LOG_ERROR("LoadMode: binary file %s changed on disk, reload deferred while other threads "
                  "read parameters",
                  m_fileName);
        return false;
    }
    ReloadBinaryParameters(false);
    m_dataLock.Unlock(false);
    return true;
}

bool ParameterSetManager::UnloadMode(const TuningMode* pBranch, unsigned int count) {
    ParameterMutexLock dataLock(&m_dataLock, true);
    if (!IsFileMode()) {
        SetError("UnloadMode is not valid in buffer mode");
        return m_rootMode != nullptr;
    }
    if (m_rootMode == nullptr) {
        SetError("UnloadMode root mode is nullptr");
        return false;
    }
    ModeEntry* pMode = m_rootMode;
    if (count >= 2) {
        BranchWalk walk(m_rootMode, pBranch, count);
        while (walk.Next() != nullptr) {
        }
        if (walk.Failed()) {
            return false;
        }
        pMode = walk.Current();
    }
    // Only the deepest mode goes; its ancestors stay.
    int fileReferences = 0;
    LoadModules(pMode, false, nullptr, pBranch, count, fileReferences);
    return true;
}
