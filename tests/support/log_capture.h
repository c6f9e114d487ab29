// Collects the lines of Zyra::Log::LogSystem and the trace while in scope.
#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

namespace zyra_test {

struct LoggedLine {
    uint64_t group;
    std::string level;
    uint32_t levelIndex;
    std::string text;
};

class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    std::vector<LoggedLine> Lines() const;
    std::vector<std::string> Texts() const;
    // Trace markers: the name of each begin, "<end>" for each end.
    std::vector<std::string> Trace() const;
    // Whether any captured text contains `fragment`.
    bool Contains(const std::string& fragment) const;
    void Clear();

private:
    static void OnLine(void* pContext, uint64_t group, const char* pLevel, uint32_t levelIndex,
                       const char* pText);
    static void OnTrace(void* pContext, const char* pName);

    mutable std::mutex m_lock;
    std::vector<LoggedLine> m_lines;
    std::vector<std::string> m_trace;
};

}  // namespace zyra_test
