// The control and trigger tables used from several threads at once: writers raise the value
// of their own ID, readers check that every text they get is in ID order and that no value
// goes back, while whole trigger tables are replaced behind the same lock.
#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "parser/setmanager/parameter_ct_value.h"
#include "set_manager_test_support.h"

namespace setmanager_test {
namespace {

constexpr int kWriters = 4;
constexpr int kReaders = 2;
constexpr int kIterations = 1000;

// False when `text` ("id=value,...") is not in ascending ID order or a value fell below the
// one seen before for its ID.
bool InOrderAndRising(const char* pText, std::map<long, long>& seen) {
    long lastId = -1;
    for (const char* p = pText; *p != '\0';) {
        char* pEnd = nullptr;
        const long id = std::strtol(p, &pEnd, 10);
        const long value = std::strtol(pEnd + 1, &pEnd, 10);
        if (id <= lastId || value < seen[id]) {
            return false;
        }
        lastId = id;
        seen[id] = value;
        p = *pEnd == ',' ? pEnd + 1 : pEnd;
    }
    return true;
}

TEST(ControlValuesConcurrency, SetAndGetFromSeveralThreads) {
    TestSetManager manager;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int w = 0; w < kWriters; ++w) {
        threads.emplace_back([&manager, w] {
            for (int i = 1; i <= kIterations; ++i) {
                manager.SetControlValue(ParameterCTValue(w * 10, i));
            }
        });
    }
    for (int r = 0; r < kReaders; ++r) {
        threads.emplace_back([&manager, &failures] {
            std::map<long, long> seen;
            for (int i = 0; i < kIterations; ++i) {
                char text[256];
                if (manager.GetControlValues(text, sizeof(text)) &&
                    !InOrderAndRising(text, seen)) {
                    ++failures;
                }
                ParameterCTValue value;
                if (manager.GetControlValue(0, value) && value.IntegerValue < seen[0]) {
                    ++failures;
                }
            }
        });
    }
    // Two threads replace the whole trigger table; a reader must find one table or the
    // other, never a mix.
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
