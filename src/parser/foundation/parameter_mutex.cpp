#include "parser/foundation/parameter_mutex.h"

#include "parser/foundation/parameter_logging.h"

namespace {

bool OtherThreadReads(const std::map<std::thread::id, uint32_t>& readCounts,
                      std::thread::id self) {
    return readCounts.size() > (readCounts.count(self) != 0 ? 1u : 0u);
}

}  // namespace

void ParameterMutex::Lock(bool isRead) {
    std::thread::id self = std::this_thread::get_id();
    std::unique_lock<std::mutex> guard(m_mutex);
    if (isRead) {
        m_changed.wait(guard, [&] { return m_writeCount == 0 || m_writer == self; });
        ++m_readCounts[self];
        return;
    }
    m_changed.wait(guard, [&] {
        return (m_writeCount == 0 || m_writer == self) && !OtherThreadReads(m_readCounts, self);
    });
    if (m_writer == self) {
        ++m_writeCount;
    } else {
        m_writeCount = 1;
        m_writer = self;
    }
}

bool ParameterMutex::TryLock(bool isRead) {
    std::thread::id self = std::this_thread::get_id();
    std::lock_guard<std::mutex> guard(m_mutex);
    const bool writable = m_writeCount == 0 || m_writer == self;
    if (!writable || (!isRead && OtherThreadReads(m_readCounts, self))) {
        return false;
    }
    if (isRead) {
        ++m_readCounts[self];
    } else {
        ++m_writeCount;
        m_writer = self;
    }
    return true;
}

void ParameterMutex::Unlock(bool isRead) {
    bool unbalanced = false;
    // Waiters can go on only when a thread has left a side entirely; a nested unlock wakes
    // nobody.
    bool released = false;
    {
        std::lock_guard<std::mutex> guard(m_mutex);
        if (isRead) {
            auto entry = m_readCounts.find(std::this_thread::get_id());
            if (entry != m_readCounts.end() && --entry->second == 0) {
                m_readCounts.erase(entry);
                released = true;
            }
        } else {
            unbalanced = m_writeCount == 0;
            if (!unbalanced) {
                --m_writeCount;
            }
            if (m_writeCount == 0) {
                m_writer = std::thread::id();
                released = true;
            }
        }
    }
    if (released) {
        m_changed.notify_all();
    }
    if (unbalanced) {
        ParameterLogging::Write(nullptr, ParameterLogging::Error, __FILE__, __LINE__,
                                "ParameterMutex::Unlock called when lock count is zero\n");
    }
}
