// The subcommands. Each writes its result to `out` and returns the exit code; bad input
// throws ToolError.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace zyratune {

int Inspect(const std::string& file, std::ostream& out);
// `raw`: the module's bytes as hex, for any module.
int Get(const std::string& file, const std::string& modePath, const std::string& moduleSpec,
        const std::string& names, bool raw, std::ostream& out);
int Info(const std::string& file, const std::string& modePath, const std::string& moduleSpec,
         std::ostream& out);
int Dump(const std::string& file, bool asJson, std::ostream& out);
int Build(const std::string& input, const std::string& output, std::ostream& out);
// `assignments`: MODULE.FIELD=VALUE each.
int Set(const std::string& file, const std::string& modePath,
        const std::vector<std::string>& assignments, const std::string& output,
        std::ostream& out);
// 0 when the binaries are equal, 1 when they differ; ToolError with code 2 for bad input.
int Diff(const std::string& fileA, const std::string& fileB, bool asJson, std::ostream& out);
int Serve(const std::string& file, std::ostream& out);
int Tune(const std::string& target, const std::vector<std::string>& command, std::ostream& out);

}  // namespace zyratune
