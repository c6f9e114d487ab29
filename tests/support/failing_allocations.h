// Runs code again and again with one more of its allocations failing each time, for the tests
// that check what running out of memory at any point leaves behind.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "zyra/memory.h"

namespace zyra_test {

// Far more allocations than any operation of the tests makes.
constexpr uint32_t kMaxAllocations = 5000;

// Runs `run` with allocation 1, 2, 3 ... after its call of `begin` failing until a run no
// longer reaches the failing one, and answers how many runs had a failure. `end` switches the
// failures off and tells whether the failing allocation was reached; `run` answers that.
template <typename Run>
uint32_t FailEachAllocation(Run run) {
    for (uint32_t nth = 1; nth <= kMaxAllocations; ++nth) {
        SCOPED_TRACE("failing allocation " + std::to_string(nth));
        uint64_t start = 0;
        const auto begin = [&] {
            start = Zyra::Memory::AllocationCount();
            Zyra::Memory::FailNthAllocation(nth);
        };
        const auto end = [&] {
            Zyra::Memory::FailNthAllocation(0);
            return Zyra::Memory::AllocationCount() - start >= nth;
        };
        if (!run(begin, end) || ::testing::Test::HasFailure()) {
            return nth - 1;
        }
    }
    ADD_FAILURE() << "still failing after " << kMaxAllocations << " allocations";
    return kMaxAllocations;
}

}  // namespace zyra_test
