// Where a load failed. While a FailedFieldTrace lives on a thread, Load notes each field whose
// reading turned its structure's result false, from the innermost structure out, so that a
// caller can name the field that the entry's bytes did not fit.
#pragma once

#include <string>
#include <vector>

namespace ParameterEngine {

class FailedFieldTrace {
public:
    FailedFieldTrace() : m_pOuter(s_pActive) { s_pActive = this; }
    ~FailedFieldTrace() { s_pActive = m_pOuter; }
    FailedFieldTrace(const FailedFieldTrace&) = delete;
    FailedFieldTrace& operator=(const FailedFieldTrace&) = delete;

    static void Note(const char* pField) noexcept {
        if (s_pActive != nullptr) {
            try {
                s_pActive->m_fields.push_back(pField);
            } catch (...) {
                // Without memory the path is only shorter.
            }
        }
    }

    // The fields from the top structure down to the one that failed, joined by '.'.
    std::string Path() const {
        std::string path;
        for (auto field = m_fields.rbegin(); field != m_fields.rend(); ++field) {
            path += (path.empty() ? "" : ".") + std::string(*field);
        }
        return path;
    }

private:
    static inline thread_local FailedFieldTrace* s_pActive = nullptr;
    FailedFieldTrace* m_pOuter;
    std::vector<const char*> m_fields;
};

}  // namespace ParameterEngine
