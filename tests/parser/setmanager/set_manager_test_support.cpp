#include "set_manager_test_support.h"

#include <cstring>

#include "../parser_messages.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/module_data.h"

namespace setmanager_test {

ParameterModule* TestModule::Create(ModuleData* pData, DefaultModule* pDefault) const {
    const VersionUnion version = pData->Version;
    if (std::strcmp(Type, pData->Type) != 0 || version != Version) {
        return nullptr;
    }
    const uint32_t id = pData->DuplicateID != 0 ? pData->DuplicateID : pData->ID;
    if (ParameterModule* pShared = pDefault->Find(id)) {
        return pShared;
    }
    auto* pModule = new TestModule(Name, Version, pData);
    pModule->ModuleID = id;
    pDefault->AddModule(pModule);
    return pModule;
}

bool TestModule::LoadModule(ParameterFileSymbolTable* pSymbolTable) {
    if (Loaded) {
        return true;
    }
    ParameterFileSymbolTableEntry entry;
    const bool result = pSymbolTable != nullptr && pSymbolTable->Find(entry, ModuleID, true) &&
                        entry.Read(&Value, pSymbolTable->GetAlignment());
    ++Modified;
    Loaded = result;
    return result;
}

TestSetManager::~TestSetManager() {
    for (auto& entry : m_defaultModules) {
        ParserDelete(entry.second);
    }
    m_defaultModules.clear();
}

void TestSetManager::Register(const char* pName, const VersionUnion& version) {
    auto* pPrototype = new TestModule(pName, version, nullptr);
    m_defaultModules[pPrototype->Type] = ParserNew<DefaultModule>(pPrototype);
}

DefaultModule* TestSetManager::GetDefaultModule(char* pType) {
    auto found = m_defaultModules.find(pType != nullptr ? pType : "");
    return found != m_defaultModules.end() ? found->second : nullptr;
}

binwriter::ModeRecord Record(uint16_t mode, uint16_t subMode, std::optional<uint32_t> parent,
                             std::optional<uint32_t> link, bool pinned) {
    binwriter::ModeRecord record;
    record.mode = mode;
    record.subMode = subMode;
    record.parent = parent;
    record.link = link;
    record.pinned = pinned;
    return record;
}

TestModule* ModuleOf(ModeEntry* pMode, const std::string& name) {
    return pMode != nullptr ? static_cast<TestModule*>(pMode->FindModule(name)) : nullptr;
}

std::vector<uint8_t> ValueBytes(uint32_t value) {
    std::vector<uint8_t> bytes(8, 0);
    for (int i = 0; i < 4; ++i) {
        bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    }
    return bytes;
}

std::vector<std::string> Messages(const zyra_test::LogCapture& capture) {
    return parser_test::ParserMessages(capture);
}

std::vector<std::string> Errors(const zyra_test::LogCapture& capture) {
    std::vector<std::string> errors;
    for (const std::string& message : Messages(capture)) {
        if (message.rfind("[ERROR] ", 0) == 0) {
            errors.push_back(message);
        }
    }
    return errors;
}

}  // namespace setmanager_test
