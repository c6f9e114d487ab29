#include "set_manager_test_support.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "../parser_messages.h"
#include "parser/file/parameter_file_symbol_table.h"
#include "parser/foundation/parser_object.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_parser_info.h"

namespace setmanager_test {

std::set<const TestModule*>& TestModule::Destroyed() {
    static std::set<const TestModule*> s_destroyed;
    return s_destroyed;
}

ParameterModule* TestModule::Create(ModuleData* pData, DefaultModule* pDefault) const {
    const VersionUnion version = pData->Version;
    if (std::strcmp(Type, pData->Type) != 0 || version != Version) {
        return nullptr;
    }
    const uint32_t id = pData->DuplicateID != 0 ? pData->DuplicateID : pData->ID;
    if (ParameterModule* pShared = pDefault->Find(id)) {
        return pShared;
    }
    // Out of memory answers null, as generated classes do; the caller logs it.
    auto* pModule = new (std::nothrow) TestModule(Name, Version, pData);
    if (pModule == nullptr) {
        return nullptr;
    }
    pModule->ModuleID = id;
    if (!pDefault->AddModule(pModule)) {
        delete pModule;
        return nullptr;
    }
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

uint32_t* TestModule::Field(const char* pPath) {
    unsigned int index = 0;
    if (pPath == nullptr) {
        return nullptr;
    }
    if (std::strcmp(pPath, "value") == 0) {
        return &Value;
    }
    int consumed = 0;
    if (std::sscanf(pPath, "gains[%u]%n", &index, &consumed) == 1 && pPath[consumed] == '\0' &&
        index < 2) {
        return &Gains[index];
    }
    return nullptr;
}

bool TestModule::GetValue(const char* pPath, char* pValue, unsigned int size) {
    uint32_t* pField = Field(pPath);
    if (pField == nullptr) {
        return false;
    }
    std::snprintf(pValue, size, "%u", *pField);
    return true;
}

bool TestModule::SetValue(const char* pPath, const char* pValue) {
    uint32_t* pField = Field(pPath);
    if (pField == nullptr) {
        return false;
    }
    *pField = static_cast<uint32_t>(std::strtoul(pValue, nullptr, 10));
    ++Modified;
    return true;
}

bool TestModule::GetInfo(const char* pPath, PList<ParameterParserInfo>& info) {
    if (pPath == nullptr) {
        info.Insert(info.Count(), ParameterParserInfo("value", ParameterParserInfo::kUInt32,
                                                      static_cast<double>(Value), 0));
        info.Insert(info.Count(),
                    ParameterParserInfo("gains", ParameterParserInfo::kUInt32, true, false, 2));
        return true;
    }
    if (std::strcmp(pPath, "value") == 0) {
        info.Insert(info.Count(), ParameterParserInfo(nullptr, ParameterParserInfo::kUInt32,
                                                      static_cast<double>(Value), 0));
        return true;
    }
    return false;
}

TestSetManager::~TestSetManager() {
    for (auto& entry : m_defaultModules) {
        ParserDelete(entry.second);
    }
    m_defaultModules.clear();
}

bool TestSetManager::Register(const char* pName, const VersionUnion& version) {
    m_registered.emplace_back(pName, version);
    auto* pPrototype = new (std::nothrow) TestModule(pName, version, nullptr);
    // A prototype whose name could not be copied has no type to be filed under.
    DefaultModule* pDefault = pPrototype != nullptr && pPrototype->Type != nullptr
                                  ? ParserNew<DefaultModule>(pPrototype)
                                  : nullptr;
    if (pDefault == nullptr) {
        delete pPrototype;
        return false;
    }
    m_defaultModules[pPrototype->Type] = pDefault;
    return true;
}

ParameterSetManager* TestSetManager::CreateUpdateSet() {
    auto* pUpdate = new (std::nothrow) TestSetManager;
    for (size_t i = 0; pUpdate != nullptr && i < m_registered.size(); ++i) {
        if (!pUpdate->Register(m_registered[i].first.c_str(), m_registered[i].second)) {
            delete pUpdate;
            pUpdate = nullptr;
        }
    }
    return pUpdate;
}

DefaultModule* TestSetManager::GetDefaultModule(char* pType) {
    auto found = m_defaultModules.find(pType != nullptr ? pType : "");
    return found != m_defaultModules.end() ? found->second : nullptr;
}

binwriter::ModeRecord Record(uint16_t mode, uint16_t subMode, std::optional<uint32_t> parent,
                             std::optional<uint32_t> link, bool pinned) {
    return {mode, subMode, parent, link, pinned, std::nullopt};
}

std::vector<TuningMode> Branch(const std::string& path) {
    std::vector<TuningMode> steps;
    for (size_t start = 0; start < path.size();) {
        size_t end = path.find('|', start);
        end = end == std::string::npos ? path.size() : end;
        unsigned int mode = 0;
        unsigned int subMode = 0;
        std::sscanf(path.substr(start, end - start).c_str(), "%u.%u", &mode, &subMode);
        steps.push_back(TuningMode{mode, static_cast<uint16_t>(subMode), 0});
        start = end + 1;
    }
    return steps;
}

TestModule* Get(ParameterSetManager& manager, const char* pName, const std::string& path) {
    std::vector<TuningMode> steps = Branch(path);
    return static_cast<TestModule*>(manager.GetModule(
        pName, steps.data(), static_cast<unsigned int>(steps.size()), nullptr));
}

TestModule* ModuleOf(ModeEntry* pMode, const std::string& name) {
    return pMode != nullptr ? static_cast<TestModule*>(pMode->FindModule(name)) : nullptr;
}

std::vector<uint8_t> ValueBytes(uint32_t value) {
    return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8),
            static_cast<uint8_t>(value >> 16), static_cast<uint8_t>(value >> 24), 0, 0, 0, 0};
}

std::vector<std::string> Errors(const zyra_test::LogCapture& capture) {
    std::vector<std::string> errors;
    for (const std::string& message : parser_test::ParserMessages(capture)) {
        if (message.rfind("[ERROR] ", 0) == 0) {
            errors.push_back(message);
        }
    }
    return errors;
}

std::vector<uint8_t> Tree(uint32_t base, bool extraGhi) {
    binwriter::TuningBinaryBuilder builder({5, 0, 0});
    builder.AddMode(Record(0, 0));
    builder.AddMode(Record(2, 0, 0));
    builder.AddMode(Record(4, 4, 1));
    builder.AddMode(Record(4, 5, 2));
    builder.AddMode(Record(2, 2, 0, 1));
    builder.AddMode(Record(2, 1, 0));
    builder.AddModule("abc", {1, 2, 3}, 0, ValueBytes(base + 11));
    builder.AddModule("abc", {1, 2, 3}, 2, ValueBytes(base + 22));
    builder.AddModule("def", {4, 5, 6}, 1, ValueBytes(base + 33));
    builder.AddModule("ghi", {1, 0, 0}, 3, ValueBytes(base + 44));
    const uint32_t dup = builder.AddModule("dup", {1, 0, 0}, 1, ValueBytes(base + 55));
    binwriter::SymbolEntry shared{"dup", {1, 0, 0}, 5, ValueBytes(base + 55), dup, {}};
    builder.AddSymbol(shared);
    if (extraGhi) {
        builder.AddModule("ghi", {1, 0, 0}, 1, ValueBytes(base + 44));
    }
    return builder.Build();
}

void RegisterTree(TestSetManager& manager) {
    manager.Register("abc", {1, 2, 3});
    manager.Register("def", {4, 5, 6});
    manager.Register("ghi", {1, 0, 0});
    manager.Register("dup", {1, 0, 0});
}

std::string AsText(const std::vector<uint8_t>& bytes) { return {bytes.begin(), bytes.end()}; }

bool LoadTree(TestSetManager& manager, std::vector<uint8_t>& binary,
              const std::string& path, bool onDemand) {
    RegisterTree(manager);
    manager.SetOnDemand(onDemand);
    return onDemand ? manager.LoadBinaryParameters(path.c_str())
                    : manager.LoadBinaryParameters(binary.data(), binary.size());
}

}  // namespace setmanager_test
