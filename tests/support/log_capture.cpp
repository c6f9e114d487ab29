#include "log_capture.h"

#include <algorithm>

#include "zyra/log.h"
#include "zyra/os_utils.h"

namespace zyra_test {

LogCapture::LogCapture() {
    Zyra::Log::SetLogSink(&LogCapture::OnLine, this);
    Zyra::OsUtils::SetTraceSink(&LogCapture::OnTrace, this);
}

LogCapture::~LogCapture() {
    Zyra::Log::SetLogSink(nullptr, nullptr);
    Zyra::OsUtils::SetTraceSink(nullptr, nullptr);
}

std::vector<LoggedLine> LogCapture::Lines() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_lines;
}

std::vector<std::string> LogCapture::Texts() const {
    std::vector<std::string> texts;
    for (const LoggedLine& line : Lines()) {
        texts.push_back(line.text);
    }
    return texts;
}

std::vector<std::string> LogCapture::Trace() const {
    std::lock_guard<std::mutex> guard(m_lock);
    return m_trace;
}

bool LogCapture::Contains(const std::string& fragment) const {
    const std::vector<std::string> texts = Texts();
    return std::any_of(texts.begin(), texts.end(), [&](const std::string& text) {
        return text.find(fragment) != std::string::npos;
    });
}

void LogCapture::Clear() {
    std::lock_guard<std::mutex> guard(m_lock);
    m_lines.clear();
    m_trace.clear();
}

void LogCapture::OnLine(void* pContext, uint64_t group, const char* pLevel, uint32_t levelIndex,
                        const char* pText) {
    auto* pSelf = static_cast<LogCapture*>(pContext);
    std::lock_guard<std::mutex> guard(pSelf->m_lock);
    pSelf->m_lines.push_back({group, pLevel != nullptr ? pLevel : "", levelIndex, pText});
}

void LogCapture::OnTrace(void* pContext, const char* pName) {
    auto* pSelf = static_cast<LogCapture*>(pContext);
    std::lock_guard<std::mutex> guard(pSelf->m_lock);
    pSelf->m_trace.push_back(pName != nullptr ? pName : "<end>");
}

}  // namespace zyra_test
