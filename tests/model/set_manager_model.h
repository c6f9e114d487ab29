// A model-based check of a set manager over shared tuning data. A seeded source of choices
// makes a random binary (a mode tree of use cases, features and scenes with links and pinned
// nodes, generated modules in random modes, arrays and texts shared in duplicate groups that
// span Default and use cases) and then a random sequence of client operations: lookups held
// and released, mode unloads, text reads and writes, live updates and rewrites of the file
// under an on-demand set manager. A plain model beside it says what every read must see, and
// after every step every held module, reference count, shared object and the eviction limit
// are checked against it. A concurrent run has clients, a tuner and an update on threads.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

namespace model {

// Where the random decisions come from: a seeded generator, or the bytes of a fuzz input
// (zeros once they run out).
class Choices {
public:
    explicit Choices(uint32_t seed) : m_random(seed), m_seeded(true) {}
    Choices(const uint8_t* pData, size_t size) : m_pData(pData), m_size(size) {}

    // A number below `bound`; 0 for a bound of 0 or 1.
    uint32_t Below(uint32_t bound);
    bool OneIn(uint32_t n) { return Below(n) == 0; }
    uint64_t Salt();
    bool Exhausted() const { return !m_seeded && m_used >= m_size; }

private:
    std::mt19937 m_random;
    bool m_seeded = false;
    const uint8_t* m_pData = nullptr;
    size_t m_size = 0;
    size_t m_used = 0;
};

struct RunOptions {
    // The configured number of active modes (eviction starts above max(limit, 5)).
    uint32_t activeLimit = 17;
    // Operations run; a fuzz input also ends when its bytes do.
    uint32_t steps = 400;
    // Instead, two client threads doing lookups, releases and text reads at once, beside a
    // tuner thread setting values by path and the trigger table.
    bool twoThreads = false;
    // With twoThreads: a new binary swapped in while the clients run.
    bool update = false;
};

// Runs one model check and answers the first difference found, with the step that showed
// it; empty when every check held.
std::string RunModel(Choices& choices, const RunOptions& options);

}  // namespace model
