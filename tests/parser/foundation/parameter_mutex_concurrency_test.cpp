// ParameterMutex under contention: writers change two plain counters that readers must always
// see equal, while nesting both sides. Meant for the thread sanitizer too, which sees the
// counters as unguarded memory if the lock orders nothing.
#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <memory>
#include <thread>
#include <vector>

#include "parser/foundation/parameter_mutex.h"
#include "parser/foundation/parameter_mutex_lock.h"

namespace {

constexpr int kWriters = 3;
// More readers than the lock has slots to count them in, so that some share one.
constexpr int kReaders = 18;
constexpr int kIterations = 300;
constexpr int kThreadsToCycleTheSlots = 40;

// One side of a mutex held on a thread of its own from construction to destruction.
class HeldElsewhere {
public:
    HeldElsewhere(ParameterMutex& mutex, bool isRead)
        : m_thread([&mutex, isRead, this] {
              mutex.Lock(isRead);
              m_holding.set_value();
              m_leave.get_future().wait();
              mutex.Unlock(isRead);
          }) {
        m_holding.get_future().wait();
    }
    ~HeldElsewhere() {
        m_leave.set_value();
        m_thread.join();
    }

private:
    std::promise<void> m_holding;
    std::promise<void> m_leave;
    std::thread m_thread;
};

TEST(ParameterMutexContention, ReadersNeverSeeAHalfWriteAndWritersAreAlone) {
    ParameterMutex mutex;
    uint64_t first = 0;
    uint64_t second = 0;
    std::atomic<int> readersInside{0};
    std::atomic<int> writersInside{0};
    std::atomic<int> torn{0};
    std::atomic<int> overlapped{0};

    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w) {
        threads.emplace_back([&] {
            for (int i = 0; i < kIterations; ++i) {
                ParameterMutexLock write(&mutex, false);
                ParameterMutexLock nestedWrite(&mutex, false);
                if (writersInside.fetch_add(1) != 0 || readersInside.load() != 0) {
                    ++overlapped;
                }
                ++first;
                std::this_thread::yield();
                {
                    // A writer may read its own state.
                    ParameterMutexLock read(&mutex, true);
                    ++second;
                }
                writersInside.fetch_sub(1);
            }
        });
    }
    for (int r = 0; r < kReaders; ++r) {
        threads.emplace_back([&] {
            for (int i = 0; i < kIterations; ++i) {
                ParameterMutexLock read(&mutex, true);
                ParameterMutexLock nestedRead(&mutex, true);
                readersInside.fetch_add(1);
                if (writersInside.load() != 0) {
                    ++overlapped;
                }
                if (first != second) {
                    ++torn;
                }
                readersInside.fetch_sub(1);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }

    EXPECT_EQ(torn.load(), 0);
    EXPECT_EQ(overlapped.load(), 0);
    EXPECT_EQ(first, uint64_t{kWriters} * kIterations);
    EXPECT_EQ(second, first);
}

TEST(ParameterMutexContention, AnyOtherReaderKeepsTheSoleReaderFromWritingWhereverItIsCounted) {
    ParameterMutex mutex;
    mutex.Lock(true);
    // Each new thread is counted in another place, so one of them shares this thread's.
    for (int i = 0; i < kThreadsToCycleTheSlots; ++i) {
        {
            HeldElsewhere other(mutex, true);
            EXPECT_FALSE(mutex.TryLock(false)) << i;
        }
        ASSERT_TRUE(mutex.TryLock(false)) << i;
        mutex.Unlock(false);
    }
    mutex.Unlock(true);
}

// A read refused without waiting leaves no hold behind: the next read is a real one.
TEST(ParameterMutexContention, ARefusedTryReadTakesNothing) {
    ParameterMutex mutex;
    {
        HeldElsewhere writer(mutex, false);
        EXPECT_FALSE(mutex.TryLock(true));
    }
    mutex.Lock(true);
    bool otherWrote = true;
    std::thread([&] { otherWrote = mutex.TryLock(false); }).join();
    EXPECT_FALSE(otherWrote);
    mutex.Unlock(true);
}

TEST(ParameterMutexContention, OneThreadReadingManyLocksAtOnceHoldsEachAsItsOnlyReader) {
    constexpr int kLocks = 20;
    std::unique_ptr<ParameterMutex[]> mutexes(new ParameterMutex[kLocks]);
    const auto othersMayWrite = [&] {
        std::vector<bool> writable;
        std::thread([&] {
            for (int i = 0; i < kLocks; ++i) {
                writable.push_back(mutexes[i].TryLock(false));
                if (writable.back()) {
                    mutexes[i].Unlock(false);
                }
            }
        }).join();
        return writable;
    };
    for (int i = 0; i < kLocks; ++i) {
        mutexes[i].Lock(true);
        mutexes[i].Lock(true);
    }
    for (int i = 0; i < kLocks; ++i) {
        ASSERT_TRUE(mutexes[i].TryLock(false)) << i;
        mutexes[i].Unlock(false);
    }
    EXPECT_EQ(othersMayWrite(), std::vector<bool>(kLocks, false));
    // Released from the front, so that the later holds move into the freed places.
    for (int i = 0; i < kLocks; ++i) {
        mutexes[i].Unlock(true);
        EXPECT_FALSE(othersMayWrite()[i]) << i;
        mutexes[i].Unlock(true);
    }
    EXPECT_EQ(othersMayWrite(), std::vector<bool>(kLocks, true));
}

}  // namespace
