// Read-write lock of the parser, recursive per thread on both sides. A thread holding the
// write side may also read; a thread that is the only reader may also take the write side.
// Writers are not preferred: a stream of readers can hold one off.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <thread>

#include "zyra_api.h"

class ZYRA_API ParameterMutex {
public:
    ParameterMutex() = default;
    ParameterMutex(const ParameterMutex&) = delete;
    ParameterMutex& operator=(const ParameterMutex&) = delete;

    void Lock(bool isRead);
    // Takes the side when that needs no wait, as Lock would grant it now; false otherwise.
    // A reader that wants the write side while other readers may want it too asks this way,
    // since two readers waiting for each other to leave would wait for ever.
    bool TryLock(bool isRead);
    void Unlock(bool isRead);

private:
    // Guards the fields below only; never held across a wait.
    std::mutex m_mutex;
    uint32_t m_writeCount = 0;
    std::thread::id m_writer;
    std::map<std::thread::id, uint32_t> m_readCounts;
    std::condition_variable m_changed;
};
