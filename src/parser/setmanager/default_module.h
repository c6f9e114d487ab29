// Per module type: the registered prototype and the instances made from it for one binary.
#pragma once

#include <cstdint>
#include <list>
#include <unordered_map>

#include "zyra_api.h"

class ParameterModule;

// One link of an instance list. It owns its module and the rest of the list.
class ZYRA_API ModuleLink {
public:
    explicit ModuleLink(ParameterModule* pModule);
    // Destroys the module and the links behind this one. To take a link out without its
    // module, clear Module and Next first.
    ~ModuleLink();
    ModuleLink(const ModuleLink&) = delete;
    ModuleLink& operator=(const ModuleLink&) = delete;

    ParameterModule* Module;
    ModuleLink* Next = nullptr;
};

class ZYRA_API DefaultModule {
public:
    explicit DefaultModule(ParameterModule* pPrototype);
    // Destroys every instance, then the prototype.
    ~DefaultModule();
    DefaultModule(const DefaultModule&) = delete;
    DefaultModule& operator=(const DefaultModule&) = delete;

    // Appends an instance. False for null, and when no link could be made: the module is
    // then not in the list and stays the caller's.
    bool AddModule(ParameterModule* pModule);
    // Unhooks and destroys the link of `pModule`; the module itself survives. The tail moves
    // back to the link before it when the last link goes.
    void RemoveModule(const ParameterModule* pModule);
    // The first instance whose symbol entry is `id`. An instance without ModuleData ends the
    // search and is itself the answer.
    ParameterModule* Find(unsigned int id);
    // Appends every instance to `modules` and empties the list, destroying no module.
    void TakeInstances(std::list<ParameterModule*>& modules);

    ParameterModule* Prototype;
    // Changed only through AddModule, RemoveModule and TakeInstances, which keep Find's
    // index.
    ModuleLink* InstanceHead = nullptr;
    ModuleLink* InstanceTail = nullptr;

private:
    // The first listed instance of each symbol entry, so that creating the modules of a binary
    // does not walk the list once per module.
    std::unordered_map<uint32_t, ParameterModule*> m_firstById;
    // Set while the index cannot answer alone: an instance without ModuleData (which ends
    // every search) is listed, or one could not be indexed for want of memory.
    bool m_walkList = false;
};
