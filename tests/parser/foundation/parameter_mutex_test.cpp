#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
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

// Gives a thread that should be blocked the chance to get through if the lock were broken.
void Pause() { std::this_thread::sleep_for(std::chrono::milliseconds(50)); }

TEST(ParameterMutex, OneThreadNestsBothSidesUpgradesAsSoleReaderAndSurvivesUnbalancedUnlocks) {
    ParameterMutex mutex;
    mutex.Lock(true);
    mutex.Lock(true);
    mutex.Lock(false);  // the only reader may write
    mutex.Lock(false);
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
    EXPECT_EQ(parser_test::ParserMessages(capture),
              (std::vector<std::string>{
                  "[ERROR] ParameterMutex::Unlock called when lock count is zero\n"}));

    EXPECT_TRUE(FinishesOnAnotherThread([&] { ParameterMutexLock write(&mutex, false); }));
}

TEST(ParameterMutex, WriterHeldTwiceAndReleasedOnceStillExcludesOthers) {
    ParameterMutex mutex;
    mutex.Lock(false);
    mutex.Lock(false);
    mutex.Unlock(false);

    std::atomic<bool> released{false};
    bool readerSawRelease = false;
    std::thread reader([&] {
        mutex.Lock(true);
        readerSawRelease = released.load();
        mutex.Unlock(true);
    });
    Pause();
    released = true;
    mutex.Unlock(false);
    reader.join();
    EXPECT_TRUE(readerSawRelease);
}

TEST(ParameterMutex, UpgradeWaitsForTheOtherReader) {
    ParameterMutex mutex;
    std::atomic<bool> released{false};
    std::promise<void> otherReads;
    std::promise<void> letGo;
    std::thread other([&] {
        mutex.Lock(true);
        otherReads.set_value();
        letGo.get_future().wait();
        released = true;
        mutex.Unlock(true);
    });
    otherReads.get_future().wait();

    bool writerSawRelease = false;
    std::thread upgrader([&] {
        mutex.Lock(true);
        mutex.Lock(false);
        writerSawRelease = released.load();
        mutex.Unlock(false);
        mutex.Unlock(true);
    });
    Pause();
    letGo.set_value();
    other.join();
    upgrader.join();
    EXPECT_TRUE(writerSawRelease);
}

}  // namespace
