#include "parser/setmanager/default_module.h"

#include <new>

#include "parser/foundation/parser_object.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"

ModuleLink::ModuleLink(ParameterModule* pModule) : Module(pModule) {}

ModuleLink::~ModuleLink() {
    delete Module;
    // The rest of the list goes link by link rather than by recursion, whatever its length.
    ModuleLink* pNext = Next;
    while (pNext != nullptr) {
        ModuleLink* pLink = pNext;
        pNext = pLink->Next;
        pLink->Next = nullptr;
        ParserDelete(pLink);
    }
}

DefaultModule::DefaultModule(ParameterModule* pPrototype) : Prototype(pPrototype) {}

DefaultModule::~DefaultModule() {
    ParserDelete(InstanceHead);
    delete Prototype;
}

bool DefaultModule::AddModule(ParameterModule* pModule) {
    if (pModule == nullptr) {
        return false;
    }
    auto* pLink = ParserNew<ModuleLink>(pModule);
    if (pLink == nullptr) {
        return false;
    }
    if (pModule->Data == nullptr) {
        m_walkList = true;
    } else {
        try {
            m_firstById.emplace(pModule->Data->ID, pModule);
        } catch (const std::bad_alloc&) {
            m_walkList = true;
        }
    }
    if (InstanceHead == nullptr) {
        InstanceHead = pLink;
    } else {
        InstanceTail->Next = pLink;
    }
    InstanceTail = pLink;
    return true;
}

void DefaultModule::RemoveModule(const ParameterModule* pModule) {
    ModuleLink* pPrevious = nullptr;
    ModuleLink* pLink = InstanceHead;
    while (pLink != nullptr && pLink->Module != pModule) {
        pPrevious = pLink;
        pLink = pLink->Next;
    }
    if (pLink == nullptr) {
        return;
    }
    if (pPrevious != nullptr) {
        pPrevious->Next = pLink->Next;
    } else {
        InstanceHead = pLink->Next;
    }
    if (InstanceTail == pLink) {
        InstanceTail = pPrevious;
    }
    pLink->Module = nullptr;
    pLink->Next = nullptr;
    ParserDelete(pLink);
    if (pModule->Data == nullptr) {
        return;
    }
    // Another instance of the same entry, if one is listed, becomes the first.
    const uint32_t id = pModule->Data->ID;
    auto indexed = m_firstById.find(id);
    if (indexed == m_firstById.end() || indexed->second != pModule) {
        return;
    }
    m_firstById.erase(indexed);
    for (pLink = InstanceHead; pLink != nullptr; pLink = pLink->Next) {
        ParameterModule* pOther = pLink->Module;
        if (pOther != nullptr && pOther->Data != nullptr && pOther->Data->ID == id) {
            try {
                m_firstById.emplace(id, pOther);
            } catch (const std::bad_alloc&) {
                m_walkList = true;
            }
            return;
        }
    }
}

ParameterModule* DefaultModule::Find(unsigned int id) {
    if (!m_walkList) {
        auto indexed = m_firstById.find(id);
        return indexed != m_firstById.end() ? indexed->second : nullptr;
    }
    for (ModuleLink* pLink = InstanceHead; pLink != nullptr; pLink = pLink->Next) {
        ParameterModule* pModule = pLink->Module;
        if (pModule == nullptr) {
            continue;
        }
        if (pModule->Data == nullptr || pModule->Data->ID == id) {
            return pModule;
        }
    }
    return nullptr;
}

void DefaultModule::TakeInstances(std::list<ParameterModule*>& modules) {
    ModuleLink* pLink = InstanceHead;
    while (pLink != nullptr) {
        ModuleLink* pNext = pLink->Next;
        if (pLink->Module != nullptr) {
            modules.push_back(pLink->Module);
        }
        pLink->Module = nullptr;
        pLink->Next = nullptr;
        ParserDelete(pLink);
        pLink = pNext;
    }
    InstanceHead = nullptr;
    InstanceTail = nullptr;
    m_firstById.clear();
    m_walkList = false;
}
