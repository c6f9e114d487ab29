// One node of the mode tree: a Mode/SubMode pair, its children, an optional link to another
// node whose modules it borrows, and the modules this node holds with their reference counts.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <unordered_map>

#include "parser/foundation/mode_union.h"
#include "parser/foundation/separated_allocator.h"
#include "parser/foundation/thread_separation.h"
#include "parser/setmanager/tuning_mode.h"
#include "zyra_api.h"

class ParameterModule;

// A module a node holds, and the references clients hold on it there. Clients take and give
// back references at once under the shared side of the set manager's load lock, so the counts
// are atomic; copies carry the counts' values.
struct ModuleReference {
    ModuleReference() = default;
    ModuleReference(ParameterModule* pModule, uint32_t refCount)
        : Module(pModule), RefCount(refCount) {}
    ModuleReference(const ModuleReference& other)
        : Module(other.Module),
          RefCount(other.RefCount.load()),
          TunerRefCount(other.TunerRefCount.load()) {}
    ModuleReference& operator=(const ModuleReference& other) {
        Module = other.Module;
        RefCount.store(other.RefCount.load());
        TunerRefCount.store(other.TunerRefCount.load());
        return *this;
    }

    ParameterModule* Module = nullptr;
    std::atomic<uint32_t> RefCount{0};
    // The part of RefCount that the text interface took and never gives back: no client
    // holds the module through those.
    std::atomic<uint32_t> TunerRefCount{0};
};

// The modules of a node by name. Lookups on other threads read the neighbouring entries of
// the one whose count a thread changes, so every entry lies on cache lines of its own.
using ModuleMap =
    std::unordered_map<std::string, ModuleReference, std::hash<std::string>,
                       std::equal_to<std::string>,
                       SeparatedAllocator<std::pair<const std::string, ModuleReference>>>;

class ZYRA_API ModeEntry {
public:
    ModeEntry(bool loaded, bool pinned);
    // Frees the first child and the next sibling, and so the subtree and the rest of the
    // sibling chain, through ParserDelete: nodes come from ParserNew. Modules are not owned.
    ~ModeEntry();
    ModeEntry(const ModeEntry&) = delete;
    ModeEntry& operator=(const ModeEntry&) = delete;

    void Initialize(unsigned int id, const ModeUnion& mode, ModeEntry** pLink);
    void Initialize(unsigned int id, unsigned short mode, unsigned short subMode, ModeEntry** pLink);

    void AddMode(ModeEntry* pChild);
    ModeEntry* FindMode(const TuningMode* pStep);
    ModeEntry* FindMode(const TuningMode* pGroup, unsigned int count, unsigned int depth);
    ParameterModule* FindModule(const std::string& name);
    bool AddModule(ParameterModule* pModule);
    // Puts `pModule` under its name with no references; returns the module it replaced.
    ParameterModule* ReplaceModule(ParameterModule* pModule);

    void AddReference(ParameterModule* pModule);
    void ReleaseReference(ParameterModule* pModule);
    uint32_t GetReferenceCount(const ParameterModule* pModule);
    void ReleaseReferences();
    // Marks one reference on `pModule` as the text interface's.
    void CountTunerReference(const ParameterModule* pModule);
    // Whether a client (not the text interface) holds a reference on `pModule` here.
    bool HasClientReference(const ParameterModule* pModule) const;
    bool IsActive();
    bool HasLocalModules();
    bool IsParent(ModeEntry* pMode);

    void GetModePath(char* pPath, unsigned int size);
    const char* GetModeName();
    const char* GetSubModeName();

    // The last node of the link chain starting here: this node when it has no link, and when
    // the links form a ring, which has no last node.
    ModeEntry* LinkTarget();

    // The node is aligned (and so sized) so that no other object shares its cache lines:
    // lookups stamp LastUse while lookups on other threads walk other nodes.
    alignas(kThreadSeparation) uint32_t ID = 0;
    ModeUnion Mode;
    bool Loaded;
    bool Pinned;
    ModeEntry** Link = nullptr;
    ModeEntry* Parent = nullptr;
    ModeEntry* FirstChild = nullptr;
    ModeEntry* LastChild = nullptr;
    ModeEntry* NextSibling = nullptr;
    ModuleMap Modules;
    // When the set manager last used this node, on its clock of uses; 0 while the node is not
    // in its list of active modes. Lookups that find their modes in memory stamp it under the
    // shared side of the load lock instead of reordering that list.
    std::atomic<uint64_t> LastUse{0};

private:
    // Whether `pModule` was created for this very node (and not shared in from another).
    bool IsLocal(const ParameterModule* pModule) const;
};
