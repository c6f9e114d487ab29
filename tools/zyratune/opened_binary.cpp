#include "opened_binary.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "binary_entries.h"
#include "binary_header.h"
#include "bitml_set_manager.h"
#include "fd_set_manager.h"
#include "image_sensor_module_set_manager.h"
#include "module_index.h"
#include "parser/livetuning/parameter_dialin_worker.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/mode_names.h"
#include "tool_error.h"
#include "tuning_set_manager.h"

namespace zyratune {
namespace {

template <class Base>
class Managed : public Base, public ToolSetManager {
public:
    // A set manager that serves live tuning by itself does so here only when asked.
    Managed() { this->m_dialinEnabled = false; }
    // The worker calls this object's virtual functions, so it stops before this class goes.
    ~Managed() override {
        if (this->m_dialinWorker != nullptr) {
            this->m_dialinWorker->Stop();
        }
    }
    ParameterSetManager& Manager() override { return *this; }
    bool EnableLiveTuning() override {
        this->m_dialinEnabled = true;
        return this->CreateDialinWorker();
    }
    unsigned short LiveTuningPort() override {
        return this->m_dialinWorker != nullptr ? this->m_dialinWorker->Port() : 0;
    }
    bool AddSchemaDirectory(const std::string& directory) override {
        return Base::AddSchemaDirectory(directory.c_str());
    }
};

std::vector<std::string> g_schemaDirectories;

// The schema directories read into `tool`, and the messages of the schemas it refused.
std::vector<std::string> AddSchemaDirectories(ToolSetManager& tool) {
    std::vector<std::string> refused;
    for (const std::string& directory : g_schemaDirectories) {
        std::error_code error;
        if (!std::filesystem::is_directory(directory, error)) {
            throw ToolError(directory + ": cannot read schema directory");
        }
        if (!tool.AddSchemaDirectory(directory)) {
            refused.push_back(tool.Manager().GetError());
        }
    }
    return refused;
}

// Why no set manager loads these modules when they are the reason: one no catalogue has, or
// modules of more than one manager. Empty otherwise.
std::string ManagerMismatch(const std::vector<std::string>& names) {
    for (const std::string& name : names) {
        if (FindCatalogueName(name) == nullptr) {
            return "module " + name + " is in no set manager's catalogue";
        }
    }
    std::string first;
    for (const std::string& name : names) {
        const CatalogueName* pName = FindCatalogueName(name);
        const std::string owned = name + " (" + pName->manager + ")";
        if (first.empty()) {
            first = owned;
        } else if (first.substr(first.find(" (")) != owned.substr(owned.find(" ("))) {
            return "modules of two set managers: " + first + ", " + owned;
        }
    }
    return "";
}

// A decimal number of up to 16 bits, as ModeName writes modes and submodes without a name.
std::optional<uint16_t> Number16(const std::string& text) {
    if (text.empty() || text.size() > 5 ||
        text.find_first_not_of("0123456789") != std::string::npos || std::stoul(text) > 0xFFFF) {
        return std::nullopt;
    }
    return static_cast<uint16_t>(std::stoul(text));
}

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

void UseSchemaDirectories(const std::vector<std::string>& directories) {
    g_schemaDirectories = directories;
}

std::vector<uint8_t> ReadFile(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw ToolError(path + ": is a directory");
    }
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

void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes, std::ostream& out) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    file.close();
    if (!file) {
        throw ToolError(path + ": cannot write file");
    }
    out << "wrote " << path << " (" << bytes.size() << " bytes)\n";
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
        const std::vector<std::string> refused = AddSchemaDirectories(*tool);
        // The set manager reads the buffer in place for as long as it lives.
        if (tool->Manager().LoadBinaryParameters(opened.bytes.data(), opened.bytes.size())) {
            for (std::string message : refused) {
                while (!message.empty() && message.back() == '\n') {
                    message.pop_back();
                }
                std::cerr << "zyratune: warning: " << message << "\n";
            }
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
    const BinaryHeader header = ReadBinaryHeader(opened.bytes);
    std::vector<std::string> names;
    for (const auto& [id, entry] : ReadBinaryEntries(opened.bytes, header).symbols) {
        if (entry.mode != kNotAModule) {
            names.push_back(entry.name);
        }
    }
    if (std::string mismatch = ManagerMismatch(names); !mismatch.empty()) {
        firstError = mismatch;
    }
    if (firstError.empty() && !header.CrcMatches()) {
        char crc[64];
        std::snprintf(crc, sizeof(crc), "stored 0x%08x, computed 0x%08x", header.storedCrc,
                      header.computedCrc);
        firstError = std::string("CRC mismatch (") + crc + ")";
    }
    throw ToolError(path + ": not a loadable tuning binary: " +
                    (firstError.empty() ? "refused (zyratune -v shows the parser's log)"
                                        : firstError));
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

std::optional<ModeUnion> ParseModeName(const std::string& name) {
    const size_t dot = name.find('.');
    const std::string modePart = name.substr(0, dot);
    const std::string subPart = dot == std::string::npos ? "" : name.substr(dot + 1);
    std::optional<uint16_t> mode = Number16(modePart);
    for (uint16_t known = 0; !mode && ModeNames::ModeName(known) != nullptr; ++known) {
        if (modePart == ModeNames::ModeName(known)) {
            mode = known;
        }
    }
    if (!mode || (dot != std::string::npos && subPart.empty())) {
        return std::nullopt;
    }
    std::optional<uint16_t> sub = dot == std::string::npos ? 0 : Number16(subPart);
    for (uint16_t known = 0; !sub && ModeNames::SubModeName(*mode, known) != nullptr; ++known) {
        if (subPart == ModeNames::SubModeName(*mode, known)) {
            sub = known;
        }
    }
    return sub ? std::optional<ModeUnion>(ModeUnion(*mode, *sub)) : std::nullopt;
}

std::string ModePath(const ModeEntry& mode) {
    std::string path = ModeName(mode);
    for (const ModeEntry* pNode = mode.Parent; pNode != nullptr; pNode = pNode->Parent) {
        path = ModeName(*pNode) + "|" + path;
    }
    return path;
}

}  // namespace zyratune
