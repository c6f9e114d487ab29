// A concrete set manager for the set manager's tests, with the generated enginetest class
// registered under the names a test chooses, and the binaries the tests load.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "binwriter/tuning_binary_builder.h"
#include "enginetest_1_0_0.h"
#include "log_capture.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/managers/catalogue_set_manager.h"

namespace setmanager_test {

using Texts = std::vector<std::string>;

// The module class of the tests: generated, registered under any name the tests give it.
using Module = enginetest_1_0_0::enginetestTypeClass;

class TestSetManager : public CatalogueSetManager {
public:
    // In buffer mode and without a limit of active modes until a test sets them. An update
    // set shares the run-time schemas of `pRunning`.
    explicit TestSetManager(const TestSetManager* pRunning = nullptr);

    // Registers a prototype of Module under `name`; a failed one is logged and left out.
    void Register(const char* pName);
    using ParameterSetManager::FreeReplacedParameters;

    void SetOnDemand(bool onDemand) { m_onDemand = onDemand; }
    void SetIgnoreMissingModules(bool ignore) { m_ignoreMissingModules = ignore; }
    void SetLogging(bool errors, bool warnings, bool debug) {
        m_logErrors = errors;
        m_logWarnings = warnings;
        m_logDebug = debug;
    }
    PList<ModeEntry*>& ActiveModes() { return m_activeModes; }
    void SetMaxActiveModes(uint32_t count) { m_maxActiveModes = count; }
    uint32_t ValueSetCount() const { return m_valueSetCount; }
    size_t UpdateSetCount() const { return m_updateSets.size(); }

protected:
    ParameterSetManager* CreateUpdateSet() override;

private:
    std::vector<std::string> m_registered;
};

// A mode record: Mode, SubMode, parent id (none: no parent), link id (none: no link), pin.
binwriter::ModeRecord Record(uint16_t mode, uint16_t subMode,
                             std::optional<uint32_t> parent = std::nullopt,
                             std::optional<uint32_t> link = std::nullopt, bool pinned = false);

// The steps of a numeric mode path such as "0.0|2.1".
std::vector<TuningMode> Branch(const std::string& path);

// GetModule along a numeric path without a previous module, as a Module.
Module* Get(ParameterSetManager& manager, const char* pName, const std::string& path);

// The module of `name` that `mode` holds, as a Module; null when it holds none.
Module* ModuleOf(ModeEntry* pMode, const std::string& name);

// The values of a Module whose field "u32" is `value`; its entries are added to `builder`.
std::vector<uint8_t> ValueBytes(binwriter::TuningBinaryBuilder& builder, uint32_t value);

// The parser's error lines, each as "[ERROR] message".
std::vector<std::string> Errors(const zyra_test::LogCapture& capture);

// Default "abc"; Usecase.Preview "def" and "dup"; Feature2.MFNRBlend below Preview "abc";
// Feature2.MFNRPostFilter below that "ghi"; Usecase.Video linked to Preview; Usecase.Snapshot
// sharing Preview's "dup". Values are `base` plus 11, 22, 33, 44, 55. `extraGhi` adds "ghi"
// to Preview as well.
std::vector<uint8_t> Tree(uint32_t base = 0, bool extraGhi = false);

// Registers the module types of Tree().
void RegisterTree(TestSetManager& manager);

// Registers the module types of Tree() and loads `binary`: from the file at `path` in
// on-demand mode, from memory otherwise.
bool LoadTree(TestSetManager& manager, std::vector<uint8_t>& binary,
              const std::string& path, bool onDemand);

}  // namespace setmanager_test
