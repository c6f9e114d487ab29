// Book-keeping of one object that the entries of a duplicate group share: the reading site
// that built it, the element count it was built for, and how many holders it has.
#pragma once

#include <atomic>
#include <cstdint>

#include "zyra_api.h"

class ZYRA_API DupObjInfo {
public:
    // An element without object, for `count` elements read at `pFile`:`line`. The file text
    // is kept by pointer: sites are string literals.
    DupObjInfo(unsigned int count, const char* pFile, int line);
    DupObjInfo(const DupObjInfo&) = delete;
    DupObjInfo& operator=(const DupObjInfo&) = delete;

    // Gives one reference back. True when `pInfo` is null or that was the last holder; the
    // element then forgets its object, which is the caller's to free.
    static bool Release(DupObjInfo* pInfo);

    // Whether this element was built at the reading site `pFile`:`line`.
    bool IsSite(const char* pFile, int line) const;

    void* m_pObject = nullptr;
    uint32_t m_count;
    const char* m_pFile;
    uint32_t m_line;
    // Readers take references under the shared side of the table's lock, so they may meet.
    std::atomic<uint32_t> m_refCount{0};
};
