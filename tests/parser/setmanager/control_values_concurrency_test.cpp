// The control and trigger tables used from several threads at once: writers raise the value
// of their own ID while whole trigger tables are replaced behind the same lock, and a reader
// must find one table or the other, never a mix.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "parser/setmanager/parameter_ct_value.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

TEST(ControlValuesConcurrency, SetAndGetFromSeveralThreads) {
    constexpr int kIterations = 1000;
    TestSetManager manager;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int w = 0; w < 4; ++w) {
        threads.emplace_back([&manager, w] {
            for (int i = 1; i <= kIterations; ++i) {
                manager.SetControlValue(ParameterCTValue(w * 10, i));
                char text[256];
                manager.GetControlValues(text, sizeof(text));
            }
        });
    }
    for (int t = 0; t < 2; ++t) {
        threads.emplace_back([&manager, &failures, t] {
            for (int i = 0; i < kIterations; ++i) {
                manager.SetTriggerValues((i + t) % 2 == 0 ? "1=1,2=2,5=5" : "3=3,4=4");
                char text[64];
                if (!manager.GetTriggerValues(text, sizeof(text)) ||
                    (std::strcmp(text, "1=1,2=2,5=5") != 0 && std::strcmp(text, "3=3,4=4") != 0)) {
                    ++failures;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(failures.load(), 0);
    char text[256];
    EXPECT_TRUE(manager.GetControlValues(text, sizeof(text)));
    EXPECT_STREQ(text, "0=1000,10=1000,20=1000,30=1000");
}

}  // namespace
}  // namespace setmanager_test
