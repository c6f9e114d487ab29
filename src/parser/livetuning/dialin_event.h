// A level flag with a condition variable: set while its queue holds packets, waited on with a
// bound so that a wake-up lost between check and wait costs at most that bound.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

class DialinEvent {
public:
    void Set() {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            m_set = true;
        }
        m_condition.notify_all();
    }

    void Clear() {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_set = false;
    }

    bool IsSet() {
        std::lock_guard<std::mutex> lock(m_mutex);
        return m_set;
    }

    // Returns when the flag is set, `stop` is set, or `seconds` passed on the steady clock.
    // Stop sets the flag after `stop`, but a consumer may have cleared the flag in between.
    void Wait(int seconds, const std::atomic<bool>& stop) {
        std::unique_lock<std::mutex> lock(m_mutex);
        m_condition.wait_for(lock, std::chrono::seconds(seconds),
                             [this, &stop] { return m_set || stop; });
    }

private:
    bool m_set = false;
    std::condition_variable m_condition;
    std::mutex m_mutex;
};
