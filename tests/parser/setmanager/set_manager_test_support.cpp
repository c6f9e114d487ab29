#include "set_manager_test_support.h"

#include <cstdio>
#include <memory>
#include <new>

#include "../parser_messages.h"
#include "module_values.h"

namespace setmanager_test {

TestSetManager::TestSetManager(const TestSetManager* pRunning)
    : CatalogueSetManager("TestSetManager", "tuning", nullptr, 0, pRunning) {
    m_onDemand = false;
    m_maxActiveModes = 0;
}

void TestSetManager::Register(const char* pName) {
    m_registered.emplace_back(pName);
    AddModule(enginetest_1_0_0::enginetestTypeClassPrototype(pName));
}

ParameterSetManager* TestSetManager::CreateUpdateSet() {
    try {
        std::unique_ptr<TestSetManager> pUpdate(new TestSetManager(this));
        for (const std::string& name : m_registered) {
            pUpdate->Register(name.c_str());
        }
        return pUpdate.release();
    } catch (const std::bad_alloc&) {
        // A prototype could not be made: no update set.
        return nullptr;
    }
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

Module* Get(ParameterSetManager& manager, const char* pName, const std::string& path) {
    std::vector<TuningMode> steps = Branch(path);
    return static_cast<Module*>(manager.GetModule(
        pName, steps.data(), static_cast<unsigned int>(steps.size()), nullptr));
}

Module* ModuleOf(ModeEntry* pMode, const std::string& name) {
    return pMode != nullptr ? static_cast<Module*>(pMode->FindModule(name)) : nullptr;
}

std::vector<uint8_t> ValueBytes(binwriter::TuningBinaryBuilder& builder, uint32_t value) {
    engine_test::ModuleValues values;
    values.u32 = value;
    return engine_test::WriteModule(builder, values);
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
    builder.AddModule("abc", {1, 0, 0}, 0, ValueBytes(builder, base + 11));
    builder.AddModule("abc", {1, 0, 0}, 2, ValueBytes(builder, base + 22));
    builder.AddModule("def", {1, 0, 0}, 1, ValueBytes(builder, base + 33));
    builder.AddModule("ghi", {1, 0, 0}, 3, ValueBytes(builder, base + 44));
    const uint32_t dup = builder.AddModule("dup", {1, 0, 0}, 1, ValueBytes(builder, base + 55));
    binwriter::SymbolEntry shared{"dup", {1, 0, 0}, 5, ValueBytes(builder, base + 55), dup, {}};
    builder.AddSymbol(shared);
    if (extraGhi) {
        builder.AddModule("ghi", {1, 0, 0}, 1, ValueBytes(builder, base + 44));
    }
    return builder.Build();
}

void RegisterTree(TestSetManager& manager) {
    manager.Register("abc");
    manager.Register("def");
    manager.Register("ghi");
    manager.Register("dup");
}

bool LoadTree(TestSetManager& manager, std::vector<uint8_t>& binary,
              const std::string& path, bool onDemand) {
    RegisterTree(manager);
    manager.SetOnDemand(onDemand);
    return onDemand ? manager.LoadBinaryParameters(path.c_str())
                    : manager.LoadBinaryParameters(binary.data(), binary.size());
}

}  // namespace setmanager_test
