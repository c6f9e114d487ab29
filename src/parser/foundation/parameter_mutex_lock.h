// Holds one side of a ParameterMutex for a scope. A null mutex holds nothing.
#pragma once

#include "parser/foundation/parameter_mutex.h"
#include "zyra_api.h"

class ZYRA_API ParameterMutexLock {
public:
    ParameterMutexLock(ParameterMutex* pMutex, bool isRead) : m_pMutex(pMutex), m_isRead(isRead) {
        if (m_pMutex != nullptr) {
            m_pMutex->Lock(m_isRead);
            m_locked = true;
        }
    }
    ~ParameterMutexLock() {
        if (m_locked) {
            m_pMutex->Unlock(m_isRead);
        }
    }
    ParameterMutexLock(const ParameterMutexLock&) = delete;
    ParameterMutexLock& operator=(const ParameterMutexLock&) = delete;

private:
    ParameterMutex* m_pMutex;
    bool m_isRead;
    bool m_locked = false;
};
