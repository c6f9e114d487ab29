// Bringing the modules of a mode into memory and taking them out again, and the list of
// recently used modes that decides which mode is unloaded when too many are in memory.
#include <algorithm>
#include <vector>

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

// Modes below Usecase (Default and Sensor) are always kept in memory and never tracked.
constexpr uint16_t kFirstTrackedMode = 2;
// However small the configured limit, this many modes may stay loaded.
constexpr uint32_t kMinActiveModes = 5;
constexpr unsigned int kBranchPathSize = 256;
constexpr unsigned int kModePathSize = 128;

uint32_t IndexOf(const PList<ModeEntry*>& list, const ModeEntry* pMode) {
    uint32_t index = 0;
    while (index < list.Count() && list[index] != pMode) {
        ++index;
    }
    return index;
}

bool IsLocalTo(const ParameterModule* pModule, const ModeEntry* pMode) {
    return pModule->Data != nullptr && pModule->Data->Mode == pMode;
}

}  // namespace

bool ParameterSetManager::LoadModules(ModeEntry* pMode, bool load, const char* pName,
                                      const TuningMode* pBranch, unsigned int count,
                                      int& fileReferences) {
    if (pMode == nullptr) {
        LOG_ERROR("LoadModules: mode is nullptr");
        return true;
    }
    // A linked mode owns nothing for lookup: its target's modules are the ones meant.
    ModeEntry* pTarget = pMode->LinkTarget();
    if (!load && pTarget->Pinned) {
        return true;
    }
    const bool fileMode = IsFileMode();
    const bool tracking = fileMode && m_maxActiveModes != 0;
    ParameterMutexLock lock(fileMode ? &m_loadLock : nullptr, false);
    if (!load) {
        LogModuleLoading(pMode, pTarget, false, pName, pBranch, count);
        UnloadModeModules(pTarget);
        return true;
    }
    const bool tracked = IsTrackedMode(pTarget);
    bool result = true;
    if (pTarget->Loaded) {
        if (tracked) {
            TouchActiveMode(pTarget);
        }
    } else {
        if (fileMode && m_symbolTable != nullptr) {
            // The file stays open through the whole walk of the branch.
            ++fileReferences;
            m_symbolTable->FileReference(1);
        }
        std::vector<ModeEntry*> touched;
        if (tracked) {
            touched.push_back(pTarget);
        }
        LogModuleLoading(pMode, pTarget, true, pName, pBranch, count);
        result = LoadModeModules(pTarget, tracking, touched);
        // Each goes to the front, so the last one touched is the most recently used.
        for (ModeEntry* pTouched : touched) {
            TouchActiveMode(pTouched);
        }
    }
    EvictModes(tracking, pName, pBranch, count, fileReferences);
    return result;
}

void ParameterSetManager::LogModuleLoading(ModeEntry* pMode, ModeEntry* pTarget, bool load,
                                           const char* pName, const TuningMode* pBranch,
                                           unsigned int count) {
    if (!LoggingEnabled(ParameterLogging::Debug)) {
        return;
    }
    const char* pVerb = load ? "L" : "Unl";
    char branchPath[kBranchPathSize] = "";
    GetPathFromModeBranch(pBranch, count, branchPath, sizeof(branchPath));
    char modePath[kModePathSize] = "";
    pMode->GetModePath(modePath, sizeof(modePath));
    char targetPath[kModePathSize] = "";
    pTarget->GetModePath(targetPath, sizeof(targetPath));
    if (pName != nullptr && pTarget != pMode) {
        LOG_DEBUG("%soading modules (GetModule:%s:%s): %s->%s", pVerb, pName, branchPath,
                  modePath, targetPath);
    } else if (pName != nullptr) {
        LOG_DEBUG("%soading modules (GetModule:%s:%s): %s", pVerb, pName, branchPath, modePath);
    } else if (pTarget != pMode) {
        LOG_DEBUG("%soading modules (GetModule:Unknown:%s): %s->%s", pVerb, branchPath, modePath,
                  targetPath);
    } else {
        LOG_DEBUG("%soading modules (GetModule:Unknown:%s): %s", pVerb, branchPath, modePath);
    }
}

bool ParameterSetManager::LoadModeModules(ModeEntry* pTarget, bool tracking,
                                          std::vector<ModeEntry*>& touched) {
    for (auto& entry : pTarget->Modules) {
        ParameterModule* pModule = entry.second.Module;
        // A shared module counts for the mode that owns it, which is used as well.
        if (pModule->LoadModule(m_symbolTable) && tracking && pModule->Data != nullptr &&
            pModule->Data->Mode != nullptr &&
            std::find(touched.begin(), touched.end(), pModule->Data->Mode) == touched.end()) {
            touched.push_back(pModule->Data->Mode);
        }
        if (!pModule->Loaded) {
            pTarget->Loaded = false;
            return false;
        }
    }
    pTarget->Loaded = true;
    return true;
}

void ParameterSetManager::UnloadModeModules(ModeEntry* pTarget) {
    for (auto& entry : pTarget->Modules) {
        ParameterModule* pModule = entry.second.Module;
        if (!IsLocalTo(pModule, pTarget)) {
            continue;
        }
        if (pModule->Loaded && entry.second.RefCount != 0) {
            LOG_ERROR("Unloading referenced module %s, Mode: %s, Ref count: %u", pModule->Name,
                      pModule->Data->ModulePath, entry.second.RefCount.load());
        }
        pModule->UnloadModule();
    }
    pTarget->Loaded = false;
    const uint32_t unreleased = pTarget->GetReferenceCount(nullptr);
    if (unreleased != 0) {
        char path[kModePathSize] = "";
        pTarget->GetModePath(path, sizeof(path));
        LOG_ERROR("Unloading mode with %u unreleased modules: %s", unreleased, path);
    }
    pTarget->ReleaseReferences();
    ForgetActiveMode(pTarget);
}

bool ParameterSetManager::IsTrackedMode(ModeEntry* pTarget) {
    return pTarget->Mode.mode >= kFirstTrackedMode && pTarget->HasLocalModules();
}

uint32_t ParameterSetManager::ActiveModeLimit() const {
    return std::max(m_maxActiveModes, kMinActiveModes);
}

void ParameterSetManager::TouchActiveMode(ModeEntry* pMode) {
    if (pMode->Mode.mode < kFirstTrackedMode) {
        return;
    }
    // Listed in front, where its new stamp puts it anyway. A mode the list has no room for
    // stays unlisted, and so unstamped.
    if (pMode->LastUse.load() == 0 && !m_activeModes.Insert(0, pMode)) {
        return;
    }
    pMode->LastUse.store(ModeUseClock::Take(1));
}

void ParameterSetManager::ForgetActiveMode(ModeEntry* pMode) {
    const uint32_t index = IndexOf(m_activeModes, pMode);
    if (index < m_activeModes.Count()) {
        m_activeModes.Remove(index);
    }
    pMode->LastUse.store(0);
}

void ParameterSetManager::SortActiveModes() {
    // Insertion sort: the list is short, and only the modes that warm lookups stamped since
    // the last sort are out of place.
    for (uint32_t i = 1; i < m_activeModes.Count(); ++i) {
        ModeEntry* pMode = m_activeModes[i];
        const uint64_t lastUse = pMode->LastUse.load();
        uint32_t j = i;
        for (; j > 0 && m_activeModes[j - 1]->LastUse.load() < lastUse; --j) {
            m_activeModes[j] = m_activeModes[j - 1];
        }
        m_activeModes[j] = pMode;
    }
}

void ParameterSetManager::EvictModes(bool tracking, const char* pName, const TuningMode* pBranch,
                                     unsigned int count, int& fileReferences) {
    const uint32_t limit = ActiveModeLimit();
    if (m_activeModes.Count() <= limit) {
        return;
    }
    SortActiveModes();
    // One pass from the least recently used end: a mode still referenced stays where it
    // is, so the list may remain longer than the limit.
    for (uint32_t index = m_activeModes.Count(); index > limit; --index) {
        ModeEntry* pMode = m_activeModes[index - 1];
        if (tracking && !pMode->Pinned) {
            if (!pMode->IsActive()) {
                LoadModules(pMode, false, pName, pBranch, count, fileReferences);
            }
        } else {
            ForgetActiveMode(pMode);
        }
    }
}

bool ParameterSetManager::LoadModeInternal(const TuningMode* pBranch, unsigned int count,
                                           bool& reload, const char* pName) {
    reload = false;
    if (m_rootMode == nullptr) {
        return false;
    }
    const bool fileMode = IsFileMode();
    int fileReferences = 0;
    bool result = true;
    reload = !LoadModules(m_rootMode, true, pName, pBranch, count, fileReferences) && fileMode;
    if (!reload) {
        BranchWalk walk(m_rootMode, pBranch, count);
        while (ModeEntry* pMode = walk.Next()) {
            // In file mode a failed read means the file changed on disk.
            if (!LoadModules(pMode, true, pName, pBranch, count, fileReferences) && fileMode) {
                reload = true;
                break;
            }
        }
        result = reload || !walk.Failed();
    }
    if (m_symbolTable != nullptr && m_symbolTable->GetFile() != nullptr) {
        m_symbolTable->FreeEntryData();
    }
    if (fileReferences > 0 && m_symbolTable != nullptr) {
        m_symbolTable->FileReference(-fileReferences);
    }
    return result;
}
