#include "parser/file/dup_obj_info.h"

#include <cstring>

DupObjInfo::DupObjInfo(unsigned int count, const char* pFile, int line)
    : m_count(count), m_pFile(pFile), m_line(static_cast<uint32_t>(line)) {}

bool DupObjInfo::Release(DupObjInfo* pInfo) {
    if (pInfo == nullptr) {
        return true;
    }
    // Releases come under the exclusive side of the table's lock; a count already at 0 stays
    // there instead of wrapping.
    uint32_t count = pInfo->m_refCount.load();
    if (count > 1) {
        pInfo->m_refCount.store(count - 1);
        return false;
    }
    pInfo->m_refCount.store(0);
    pInfo->m_pObject = nullptr;
    return true;
}

bool DupObjInfo::IsSite(const char* pFile, int line) const {
    if (m_line != static_cast<uint32_t>(line)) {
        return false;
    }
    if (m_pFile == nullptr || pFile == nullptr) {
        return m_pFile == pFile;
    }
    return std::strcmp(m_pFile, pFile) == 0;
}
