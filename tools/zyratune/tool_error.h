// The one way a command fails: a line for stderr and the exit code, 1 for bad input and 2
// for a wrong command line.
#pragma once

#include <stdexcept>
#include <string>

namespace zyratune {

constexpr int kExitBadInput = 1;
constexpr int kExitUsage = 2;

class ToolError : public std::runtime_error {
public:
    ToolError(const std::string& message, int exitCode = kExitBadInput)
        : std::runtime_error(message), m_exitCode(exitCode) {}
    int ExitCode() const { return m_exitCode; }

private:
    int m_exitCode;
};

}  // namespace zyratune
