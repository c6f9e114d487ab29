#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "../parser_messages.h"
#include "log_capture.h"
#include "parser/foundation/parameter_mutex.h"
#include "parser/foundation/parameter_mutex_lock.h"

namespace {

// Runs `work` on another thread; false when it has not finished within a generous bound,
// which for these tests means it is blocked.
template <typename Work>
bool FinishesOnAnotherThread(Work work) {
    auto task = std::make_shared<std::packaged_task<void()>>(work);
    std::future<void> done = task->get_future();
    std::thread([task] { (*task)(); }).detach();
    return done.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
}

TEST(ParameterMutex, OneThreadNestsBothSidesUpgradesAsSoleReaderAndSurvivesUnbalancedUnlocks) {
    ParameterMutex mutex;
    mutex.Lock(true);
    mutex.Lock(true);
    mutex.Lock(false);  // the only reader may write
    EXPECT_TRUE(mutex.TryLock(false));
    mutex.Lock(true);  // a writer may read
    mutex.Unlock(true);
    mutex.Unlock(false);
    mutex.Unlock(false);
    mutex.Unlock(true);
    mutex.Unlock(true);
    {
        ParameterMutexLock write(&mutex, false);
        ParameterMutexLock read(&mutex, true);
        ParameterMutexLock none(nullptr, false);
    }

    // Unbalanced unlocks are harmless; the write side's is logged.
    zyra_test::LogCapture capture;
    mutex.Unlock(false);
    mutex.Unlock(true);
    EXPECT_EQ(parser_test::CountLogged(capture, "[ERROR]", "lock count is zero"), 1);

    EXPECT_TRUE(FinishesOnAnotherThread([&] { ParameterMutexLock write(&mutex, false); }));
}

}  // namespace
