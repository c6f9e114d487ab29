#include "parser/setmanager/mode_entry.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/mode_names.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/os_utils.h"

namespace {

// Reference mistakes are told through the set manager that read the module's binary.
IParameterLoggingAPI* LoggerOf(const ParameterModule* pModule) {
    return pModule->Data != nullptr ? pModule->Data->SetManager : nullptr;
}

// The reference record of `pModule` in `entry`, or null after logging that the node does not
// hold it; `pAction` says what was attempted, as "release".
ModuleReference* HeldReference(ModeEntry& entry, ParameterModule* pModule, const char* pAction) {
    auto found = entry.Modules.find(pModule->Name);
    if (found == entry.Modules.end()) {
        ParameterLogging::Write(
            LoggerOf(pModule), ParameterLogging::Error, __FILE__, __LINE__,
            "Attempt to %s a non-existant module.  Mode: %d, SubMode: %d, Module %s", pAction,
            entry.Mode.mode, entry.Mode.subMode, pModule->Name);
        return nullptr;
    }
    return &found->second;
}

}  // namespace

ModeEntry::ModeEntry(bool loaded, bool pinned) : Loaded(loaded), Pinned(pinned) {}

ModeEntry::~ModeEntry() {
    // Subtrees and sibling chains of a damaged binary can be long, so the nodes are freed in
    // a loop: each node's children are spliced in front of its siblings before it goes.
    ModeEntry* pPending = NextSibling;
    if (FirstChild != nullptr) {
        LastChild->NextSibling = pPending;
        pPending = FirstChild;
    }
    while (pPending != nullptr) {
        ModeEntry* pNode = pPending;
        if (pNode->FirstChild != nullptr) {
            pNode->LastChild->NextSibling = pNode->NextSibling;
            pNode->NextSibling = pNode->FirstChild;
            pNode->FirstChild = nullptr;
            pNode->LastChild = nullptr;
        }
        pPending = pNode->NextSibling;
        pNode->NextSibling = nullptr;
        ParserDelete(pNode);
    }
}

void ModeEntry::Initialize(unsigned int id, const ModeUnion& mode, ModeEntry** pLink) {
    ID = id;
    Mode = mode;
    Link = pLink;
}

void ModeEntry::Initialize(unsigned int id, unsigned short mode, unsigned short subMode,
                           ModeEntry** pLink) {
    Initialize(id, ModeUnion(mode, subMode), pLink);
}

void ModeEntry::AddMode(ModeEntry* pChild) {
    if (pChild == nullptr) {
        return;
    }
    pChild->Parent = this;
    if (LastChild != nullptr) {
        LastChild->NextSibling = pChild;
    } else {
        FirstChild = pChild;
    }
    LastChild = pChild;
}

ModeEntry* ModeEntry::LinkTarget() {
    // Brent's cycle test: a binary may link nodes in a ring, which has no last node; the
    // walk then stays at this node.
    ModeEntry* pTarget = this;
    ModeEntry* pMark = this;
    uint64_t power = 1;
    uint64_t steps = 0;
    while (pTarget->Link != nullptr && *pTarget->Link != nullptr) {
        pTarget = *pTarget->Link;
        if (pTarget == pMark) {
            return this;
        }
        if (++steps == power) {
            pMark = pTarget;
            power *= 2;
            steps = 0;
        }
    }
    return pTarget;
}

ModeEntry* ModeEntry::FindMode(const TuningMode* pStep) {
    if (pStep == nullptr) {
        return nullptr;
    }
    // Only the low 16 bits of a step's Mode name a node's Mode.
    const auto mode = static_cast<uint16_t>(pStep->Mode);
    for (ModeEntry* pChild = LinkTarget()->FirstChild; pChild != nullptr;
         pChild = pChild->NextSibling) {
        if (pChild->Mode.mode == mode && pChild->Mode.subMode == pStep->SubMode) {
            return pChild;
        }
    }
    return nullptr;
}

ModeEntry* ModeEntry::FindMode(const TuningMode* pGroup, unsigned int count, unsigned int depth) {
    ModeEntry* pTarget = LinkTarget();
    if (pGroup == nullptr || count == 0) {
        return nullptr;
    }
    // The steps of a group may stand in the tree in any order, so every level tries every
    // step; the whole group is searched again one level down. A child that failed for one
    // step fails for all, so it is searched once per level: repeated steps cost no more.
    std::vector<ModeEntry*> failed;
    for (unsigned int i = 0; i < count; ++i) {
        ModeEntry* pChild = pTarget->FindMode(&pGroup[i]);
        if (pChild == nullptr ||
            std::find(failed.begin(), failed.end(), pChild) != failed.end()) {
            continue;
        }
        if (depth + 1 >= count) {
            return pChild;
        }
        ModeEntry* pFound = pChild->FindMode(pGroup, count, depth + 1);
        if (pFound != nullptr) {
            return pFound;
        }
        failed.push_back(pChild);
    }
    return nullptr;
}

ParameterModule* ModeEntry::FindModule(const std::string& name) {
    ModeEntry* pTarget = LinkTarget();
    auto found = pTarget->Modules.find(name);
    return found != pTarget->Modules.end() ? found->second.Module : nullptr;
}

bool ModeEntry::AddModule(ParameterModule* pModule) {
    if (pModule == nullptr || pModule->Name == nullptr) {
        return false;
    }
    // The first module registered under a name keeps it.
    Modules.emplace(pModule->Name, ModuleReference{pModule, 0});
    return true;
}

ParameterModule* ModeEntry::ReplaceModule(ParameterModule* pModule) {
    if (pModule == nullptr || pModule->Name == nullptr) {
        return nullptr;
    }
    // References taken on the old module here are forgotten; its release goes to its own
    // owning mode.
    ModuleReference& reference = Modules[pModule->Name];
    ParameterModule* pOld = reference.Module;
    reference = ModuleReference{pModule, 0};
    return pOld;
}

void ModeEntry::AddReference(ParameterModule* pModule) {
    if (pModule == nullptr || pModule->Name == nullptr) {
        return;
    }
    ModuleReference* pReference = HeldReference(*this, pModule, "add reference to");
    if (pReference != nullptr) {
        ++pReference->RefCount;
    }
}

void ModeEntry::ReleaseReference(ParameterModule* pModule) {
    if (pModule == nullptr || pModule->Name == nullptr) {
        return;
    }
    ModuleReference* pReference = HeldReference(*this, pModule, "release");
    if (pReference == nullptr) {
        return;
    }
    // Another thread may release at the same moment: the count is lowered only from the
    // value it was seen to have.
    uint32_t count = pReference->RefCount.load();
    do {
        if (count == 0) {
            ParameterLogging::Write(
                LoggerOf(pModule), ParameterLogging::Error, __FILE__, __LINE__,
                "Attempt to release unreferenced module.  Mode: %d, SubMode: %d, Module %s",
                Mode.mode, Mode.subMode, pModule->Name);
            return;
        }
    } while (!pReference->RefCount.compare_exchange_weak(count, count - 1));
}

uint32_t ModeEntry::GetReferenceCount(const ParameterModule* pModule) {
    auto from = Modules.begin();
    if (pModule != nullptr) {
        from = pModule->Name != nullptr ? Modules.find(pModule->Name) : Modules.end();
    }
    // Counted from the named module to the end of the map's order: callers only ask whether
    // anything is referenced from there on.
    uint32_t count = 0;
    for (auto it = from; it != Modules.end(); ++it) {
        if (IsLocal(it->second.Module)) {
            count += it->second.RefCount;
        }
    }
    return count;
}

void ModeEntry::ReleaseReferences() {
    for (auto& entry : Modules) {
        ModuleReference& reference = entry.second;
        if (!IsLocal(reference.Module)) {
            continue;
        }
        if (reference.RefCount != 0) {
            ParameterLogging::Write(LoggerOf(reference.Module), ParameterLogging::Error, __FILE__,
                                    __LINE__,
                                    "ReleaseReferences called with unreleased module: %s, "
                                    "RefCnt: %d",
                                    entry.first.c_str(), static_cast<int>(reference.RefCount.load()));
        }
        reference.RefCount = 0;
        reference.TunerRefCount = 0;
    }
}

void ModeEntry::CountTunerReference(const ParameterModule* pModule) {
    auto found = pModule != nullptr && pModule->Name != nullptr ? Modules.find(pModule->Name)
                                                                 : Modules.end();
    if (found != Modules.end() && found->second.Module == pModule) {
        ++found->second.TunerRefCount;
    }
}

bool ModeEntry::HasClientReference(const ParameterModule* pModule) const {
    auto found = pModule != nullptr && pModule->Name != nullptr ? Modules.find(pModule->Name)
                                                                 : Modules.end();
    return found != Modules.end() && found->second.Module == pModule &&
           found->second.RefCount > found->second.TunerRefCount;
}

bool ModeEntry::IsActive() {
    for (const auto& entry : Modules) {
        if (entry.second.RefCount != 0 && IsLocal(entry.second.Module)) {
            return true;
        }
    }
    return false;
}

bool ModeEntry::HasLocalModules() {
    for (const auto& entry : Modules) {
        if (IsLocal(entry.second.Module)) {
            return true;
        }
    }
    return false;
}

bool ModeEntry::IsParent(ModeEntry* pMode) {
    if (pMode == nullptr) {
        return false;
    }
    for (ModeEntry* pAncestor = Parent; pAncestor != nullptr; pAncestor = pAncestor->Parent) {
        if (pAncestor == pMode) {
            return true;
        }
    }
    return false;
}

void ModeEntry::GetModePath(char* pPath, unsigned int size) {
    if (pPath == nullptr || size == 0) {
        return;
    }
    // Root first; collected bottom-up so that a deep tree costs no deep recursion.
    std::vector<const ModeEntry*> nodes;
    for (const ModeEntry* pNode = this; pNode != nullptr; pNode = pNode->Parent) {
        nodes.push_back(pNode);
    }
    for (auto it = nodes.rbegin(); it != nodes.rend(); ++it) {
        if (pPath[0] != '\0') {
            Zyra::OsUtils::StrLCat(pPath, "|", size);
        }
        char step[24];
        std::snprintf(step, sizeof(step), "%u.%u", static_cast<unsigned int>((*it)->Mode.mode),
                      static_cast<unsigned int>((*it)->Mode.subMode));
        Zyra::OsUtils::StrLCat(pPath, step, size);
    }
}

const char* ModeEntry::GetModeName() { return ModeNames::ModeName(Mode.mode); }

const char* ModeEntry::GetSubModeName() { return ModeNames::SubModeName(Mode.mode, Mode.subMode); }

bool ModeEntry::IsLocal(const ParameterModule* pModule) const {
    return pModule != nullptr && pModule->Data != nullptr && pModule->Data->Mode == this;
}
