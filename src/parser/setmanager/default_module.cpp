#include "parser/setmanager/default_module.h"

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
}

ParameterModule* DefaultModule::Find(unsigned int id) {
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
