// The text interface of the live tuning service: values and field descriptions of a module
// named by a mode path and a module text such as "module.field.path".
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "parser/foundation/parameter_logging.h"
#include "parser/foundation/parameter_mutex_lock.h"
#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/module_data.h"
#include "parser/setmanager/parameter_module.h"
#include "parser/setmanager/parameter_parser_info.h"
#include "parser/setmanager/parameter_set_manager.h"
#include "zyra/os_utils.h"

namespace {

constexpr unsigned int kModuleNameSize = 65;
constexpr unsigned int kFieldPathSize = 4096;
constexpr unsigned int kLongValueSize = 65535;
constexpr unsigned int kFieldValueSize = 65;
constexpr unsigned int kModePathSize = 128;

// The field path of `pName` below `pRest`; a rest of fewer than two characters names no
// structure, and the name then stands alone.
void FieldPath(const char* pRest, const char* pName, char* pPath, unsigned int size) {
    pPath[0] = '\0';
    if (std::strlen(pRest) >= 2) {
        Zyra::OsUtils::StrLCpy(pPath, pRest, size);
        Zyra::OsUtils::StrLCat(pPath, ".", size);
    }
    Zyra::OsUtils::StrLCat(pPath, pName != nullptr ? pName : "", size);
}

// What GetInfo gets for `pRest`: nothing below the module when the rest is too short.
const char* InfoPath(const char* pRest) { return std::strlen(pRest) >= 2 ? pRest : nullptr; }

const char* LastComponent(const char* pPath) {
    const char* pDot = std::strrchr(pPath, '.');
    return pDot != nullptr ? pDot + 1 : pPath;
}

// Appends pieces to a caller's text, cut where it is full.
class TextWriter {
public:
    TextWriter(char* pText, unsigned int size) : m_pText(pText), m_size(size) {
        m_pText[0] = '\0';
    }
    TextWriter& operator<<(const char* pPiece) {
        Zyra::OsUtils::StrLCat(m_pText, pPiece, m_size);
        return *this;
    }
    TextWriter& operator<<(unsigned int value) { return *this << std::to_string(value).c_str(); }

private:
    char* m_pText;
    unsigned int m_size;
};

bool BranchOf(ParameterSetManager& manager, const char* pModePath,
              std::vector<TuningMode>& steps) {
    PList<TuningMode> branch;
    if (pModePath == nullptr || !manager.GetModeBranchFromPath(pModePath, branch)) {
        return false;
    }
    steps.assign(&branch[0], &branch[0] + branch.Count());
    return true;
}

}  // namespace

bool ParameterSetManager::GetValue(const char* pModePath, const char* pModuleSpec,
                                   const char* pNames, char* pValue, unsigned int size) {
    std::vector<TuningMode> steps;
    return BranchOf(*this, pModePath, steps) &&
           GetValue(steps.data(), static_cast<unsigned int>(steps.size()), pModuleSpec, pNames,
                    pValue, size);
}

bool ParameterSetManager::SetValue(const char* pModePath, const char* pModuleSpec,
                                   const char* pName, const char* pValue) {
    std::vector<TuningMode> steps;
    return BranchOf(*this, pModePath, steps) &&
           SetValue(steps.data(), static_cast<unsigned int>(steps.size()), pModuleSpec, pName,
                    pValue);
}

bool ParameterSetManager::GetInfo(const char* pModePath, const char* pModuleSpec,
                                  PList<ParameterParserInfo>& info) {
    std::vector<TuningMode> steps;
    if (pModePath != nullptr && !BranchOf(*this, pModePath, steps)) {
        return false;
    }
    return GetInfo(steps.data(), static_cast<unsigned int>(steps.size()), pModuleSpec, info);
}

ParameterModule* ParameterSetManager::FindNamedModule(const TuningMode* pBranch,
                                                      unsigned int count, const char* pModuleSpec,
                                                      char* pRest, unsigned int restSize) {
    char name[kModuleNameSize] = "";
    const char* pDot = std::strchr(pModuleSpec, '.');
    const size_t nameLength = pDot != nullptr ? static_cast<size_t>(pDot - pModuleSpec)
                                              : std::strlen(pModuleSpec);
    Zyra::OsUtils::StrLCpy(name, pModuleSpec,
                           nameLength + 1 < sizeof(name) ? nameLength + 1 : sizeof(name));
    Zyra::OsUtils::StrLCpy(pRest, pDot != nullptr ? pDot + 1 : "", restSize);
    if (name[0] == '\0') {
        return nullptr;
    }
    // The reference taken here is kept: the module's mode stays in memory for the tuner. It is
    // marked as the tuner's, so that a reload does not keep the module for a holder that
    // never comes back for it.
    ParameterModule* pModule = GetModule(name, pBranch, count, nullptr);
    if (pModule != nullptr && IsFileMode() && pModule->Data != nullptr &&
        pModule->Data->Mode != nullptr) {
        pModule->Data->Mode->CountTunerReference(pModule);
    }
    return pModule;
}

bool ParameterSetManager::GetValue(const TuningMode* pBranch, unsigned int count,
                                   const char* pModuleSpec, const char* pNames, char* pValue,
                                   unsigned int size) {
    if (pBranch == nullptr || count == 0 || pModuleSpec == nullptr || pValue == nullptr ||
        size == 0) {
        return false;
    }
    pValue[0] = '\0';
    ParameterMutexLock dataLock(&m_dataLock, true);
    char rest[kFieldPathSize];
    ParameterModule* pModule = FindNamedModule(pBranch, count, pModuleSpec, rest, sizeof(rest));
    if (pModule == nullptr) {
        return false;
    }
    // Field access of other threads' tuning must not interleave with this one's.
    ParameterMutexLock loadLock(&m_loadLock, false);
    if (pNames == nullptr) {
        return WriteFieldValues(pModule, rest, pValue, size);
    }
    std::unique_ptr<char[]> value(new char[kLongValueSize]);
    TextWriter writer(pValue, size);
    bool written = false;
    bool result = false;
    const std::string names(pNames);
    for (size_t start = 0; start <= names.size();) {
        size_t end = names.find(',', start);
        if (end == std::string::npos) {
            end = names.size();
        }
        const std::string name = names.substr(start, end - start);
        start = end + 1;
        char path[kFieldPathSize];
        FieldPath(rest, name.c_str(), path, sizeof(path));
        value[0] = '\0';
        result = pModule->GetValue(path, value.get(), kLongValueSize);
        if (result) {
            writer << (written ? ";" : "") << name.c_str() << "=" << value.get();
            written = true;
        }
    }
    return result;
}

bool ParameterSetManager::WriteFieldValues(ParameterModule* pModule, const char* pRest,
                                           char* pValue, unsigned int size) {
    TextWriter writer(pValue, size);
    PList<ParameterParserInfo> info;
    if (!pModule->GetInfo(InfoPath(pRest), info)) {
        // Without descriptions the rest names one field.
        std::unique_ptr<char[]> value(new char[kLongValueSize]);
        value[0] = '\0';
        if (!pModule->GetValue(pRest, value.get(), kLongValueSize)) {
            return false;
        }
        writer << LastComponent(pRest) << "=" << value.get();
        return true;
    }
    bool first = true;
    for (uint32_t i = 0; i < info.Count(); ++i) {
        const ParameterParserInfo& record = info[i];
        const char* pType = record.TypeName != nullptr ? record.TypeName : "";
        if (std::strcmp(pType, ParameterParserInfo::kModule) == 0 ||
            std::strcmp(pType, ParameterParserInfo::kStructure) == 0) {
            continue;
        }
        char path[kFieldPathSize];
        if (record.Name != nullptr) {
            FieldPath(pRest, record.Name, path, sizeof(path));
        } else {
            Zyra::OsUtils::StrLCpy(path, pRest, sizeof(path));
        }
        const char* pLabel = record.Name != nullptr ? record.Name : LastComponent(pRest);
        writer << (first ? "" : ";") << pLabel << "=";
        first = false;
        char value[kFieldValueSize];
        const unsigned int elements = record.IsArray ? record.Count : 1;
        for (unsigned int element = 0; element < elements; ++element) {
            char elementPath[kFieldPathSize + 16];
            if (record.IsArray) {
                std::snprintf(elementPath, sizeof(elementPath), "%s[%u]", path, element);
            } else {
                Zyra::OsUtils::StrLCpy(elementPath, path, sizeof(elementPath));
            }
            value[0] = '\0';
            if (!pModule->GetValue(elementPath, value, sizeof(value))) {
                return false;
            }
            writer << (element != 0 ? "," : "") << value;
        }
    }
    return true;
}

bool ParameterSetManager::SetValue(const TuningMode* pBranch, unsigned int count,
                                   const char* pModuleSpec, const char* pName,
                                   const char* pValue) {
    if (pBranch == nullptr || count == 0 || pModuleSpec == nullptr || pValue == nullptr) {
        return false;
    }
    ParameterMutexLock dataLock(&m_dataLock, true);
    char rest[kFieldPathSize];
    ParameterModule* pModule = FindNamedModule(pBranch, count, pModuleSpec, rest, sizeof(rest));
    if (pModule == nullptr) {
        return false;
    }
    char path[kFieldPathSize];
    FieldPath(rest, pName, path, sizeof(path));
    ParameterMutexLock loadLock(&m_loadLock, false);
    if (!pModule->SetValue(path, pValue)) {
        return false;
    }
    ++m_valueSetCount;
    // A tuned value must survive: a pinned mode is never unloaded, and a changed module
    // could not be found in the symbol table again anyway.
    ModeEntry* pMode = pModule->Data != nullptr ? pModule->Data->Mode : nullptr;
    if (pMode != nullptr && !pMode->Pinned) {
        pMode->Pinned = true;
        ForgetActiveMode(pMode);
    }
    return true;
}

bool ParameterSetManager::GetInfo(const TuningMode* pBranch, unsigned int count,
                                  const char* pModuleSpec, PList<ParameterParserInfo>& info) {
    if (pBranch == nullptr || count == 0) {
        ParameterLogging::Write(this, ParameterLogging::Error, __FILE__, __LINE__,
                                "GetInfo called with null or empty modeBranch");
        return false;
    }
    ParameterMutexLock dataLock(&m_dataLock, true);
    if (pModuleSpec != nullptr) {
        char rest[kFieldPathSize];
        ParameterModule* pModule =
            FindNamedModule(pBranch, count, pModuleSpec, rest, sizeof(rest));
        if (pModule == nullptr) {
            return false;
        }
        ParameterMutexLock loadLock(&m_loadLock, false);
        return pModule->GetInfo(InfoPath(rest), info);
    }
    if (m_rootMode == nullptr) {
        return false;
    }
    // The names are taken first: a reload inside GetModule may replace the tree.
    std::vector<std::string> names;
    for (const auto& entry : m_rootMode->Modules) {
        names.push_back(entry.first);
    }
    for (const std::string& name : names) {
        ParameterModule* pModule = GetModule(name.c_str(), pBranch, count, nullptr);
        if (pModule == nullptr) {
            continue;
        }
        char path[kModePathSize] = "";
        if (pModule->Data != nullptr && pModule->Data->ModulePath != nullptr) {
            GetDialinModesString(pModule->Data->ModulePath, path, sizeof(path));
        }
        info.Insert(info.Count(),
                    ParameterParserInfo(pModule->Name, ParameterParserInfo::kModule, path));
    }
    return !names.empty();
}
