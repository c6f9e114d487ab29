#include "opened_binary.h"

#include <fstream>
#include <iterator>

#include "bitml_set_manager.h"
#include "fd_set_manager.h"
#include "image_sensor_module_set_manager.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/mode_names.h"
#include "tool_error.h"
#include "tuning_set_manager.h"

namespace zyratune {
namespace {

template <class Manager>
class Managed : public Manager, public ToolSetManager {
public:
    Managed() { this->m_logErrors = this->m_logWarnings = this->m_logDebug = false; }
    ParameterSetManager& Manager() override { return *this; }
    bool EnableLiveTuning() override { return this->CreateDialinWorker(); }
    unsigned short LiveTuningPort() override {
        return this->m_dialinWorker != nullptr ? this->m_dialinWorker->Port() : 0;
    }
};

}  // namespace

const std::vector<std::string>& ManagerNames() {
    static const std::vector<std::string> names = {
        "TuningSetManager", "ImageSensorModuleSetManager", "fdSetManager", "bitmlSetManager"};
    return names;
}

std::unique_ptr<ToolSetManager> MakeManager(const std::string& name) {
    if (name == "TuningSetManager") return std::make_unique<Managed<TuningSetManager>>();
    if (name == "ImageSensorModuleSetManager") {
        return std::make_unique<Managed<ImageSensorModuleSetManager>>();
    }
    if (name == "fdSetManager") return std::make_unique<Managed<fdSetManager>>();
    if (name == "bitmlSetManager") return std::make_unique<Managed<bitmlSetManager>>();
    throw ToolError("unknown set manager " + name, kExitUsage);
}

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw ToolError(path + ": cannot open file");
    }
    std::vector<uint8_t> bytes((std::istreambuf_iterator<char>(in)),
                               std::istreambuf_iterator<char>());
    if (in.bad()) {
        throw ToolError(path + ": read error");
    }
    return bytes;
}

OpenedBinary OpenBinary(const std::string& path, bool liveTuning) {
    OpenedBinary opened{path, ReadFile(path), {}, nullptr};
    if (opened.bytes.empty()) {
        throw ToolError(path + ": empty file");
    }
    std::string firstError;
    for (const std::string& name : ManagerNames()) {
        std::unique_ptr<ToolSetManager> tool = MakeManager(name);
        if (liveTuning && !tool->EnableLiveTuning()) {
            throw ToolError(path + ": out of memory for the live tuning server");
        }
        // The set manager reads the buffer in place for as long as it lives.
        if (tool->Manager().LoadBinaryParameters(opened.bytes.data(), opened.bytes.size())) {
            opened.managerName = name;
            opened.tool = std::move(tool);
            return opened;
        }
        if (firstError.empty()) {
            firstError = tool->Manager().GetError();
        }
    }
    while (!firstError.empty() && (firstError.back() == '\n' || firstError.back() == ' ')) {
        firstError.pop_back();
    }
    throw ToolError(path + ": not a loadable tuning binary: " + firstError);
}

std::string ModeName(const ModeEntry& mode) {
    const char* pMode = ModeNames::ModeName(mode.Mode.mode);
    const char* pSub = ModeNames::SubModeName(mode.Mode.mode, mode.Mode.subMode);
    std::string name = pMode != nullptr ? pMode : std::to_string(mode.Mode.mode);
    if (mode.Mode.mode <= 1 && mode.Mode.subMode == 0) {
        return name;
    }
    return name + "." + (pSub != nullptr ? pSub : std::to_string(mode.Mode.subMode));
}

std::string ModePath(const ModeEntry& mode) {
    std::string path = ModeName(mode);
    for (const ModeEntry* pNode = mode.Parent; pNode != nullptr; pNode = pNode->Parent) {
        path = ModeName(*pNode) + "|" + path;
    }
    return path;
}

}  // namespace zyratune
