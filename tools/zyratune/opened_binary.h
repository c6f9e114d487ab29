// A tuning binary read into memory and loaded by the set manager that knows its modules.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "parser/foundation/mode_union.h"
#include "parser/setmanager/parameter_set_manager.h"

class ModeEntry;

namespace zyratune {

// A set manager as the tool runs it: one that can be given a live tuning worker.
class ToolSetManager {
public:
    virtual ~ToolSetManager() = default;
    virtual ParameterSetManager& Manager() = 0;
    virtual bool EnableLiveTuning() = 0;
    // The port of the running live tuning server, 0 when none runs.
    virtual unsigned short LiveTuningPort() = 0;
    // Reads the run-time schemas of `directory`; false, with the set manager's error text
    // set, when one of them was refused.
    virtual bool AddSchemaDirectory(const std::string& directory) = 0;
};

// The names of the four derived set managers, in the order OpenBinary tries them.
const std::vector<std::string>& ManagerNames();
std::unique_ptr<ToolSetManager> MakeManager(const std::string& name);

struct OpenedBinary {
    std::string path;
    std::vector<uint8_t> bytes;
    std::string managerName;
    std::unique_ptr<ToolSetManager> tool;
    ParameterSetManager& Manager() { return tool->Manager(); }
};

std::vector<uint8_t> ReadFile(const std::string& path);
// Writes the file whole, and says so on `out` with its size.
void WriteFile(const std::string& path, const std::vector<uint8_t>& bytes, std::ostream& out);

// The directories of run-time schemas (--schema-dir) that every binary opened afterwards is
// loaded with, after those of ZYRA_SCHEMA_PATH.
void UseSchemaDirectories(const std::vector<std::string>& directories);

// Loads the file with the first set manager that knows all its modules; ToolError naming the
// file and the parser's error otherwise. `liveTuning` starts the live tuning server on load.
// A run-time schema that the loading set manager refused is a warning on stderr; the modules
// it was meant for stay bytes.
OpenedBinary OpenBinary(const std::string& path, bool liveTuning = false);

// "Default", "Usecase.Snapshot", "Sensor.3": a node's mode and submode by name where known.
std::string ModeName(const ModeEntry& mode);
// The reverse of ModeName: names as ModeName writes them, modes and submodes also by number;
// unset for a name that is no mode.
std::optional<ModeUnion> ParseModeName(const std::string& name);
// The node's names from the root down, joined by '|', which mode paths of the text interface
// accept.
std::string ModePath(const ModeEntry& mode);

}  // namespace zyratune
