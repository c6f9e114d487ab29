#include "parser/engine/trigger_tree.h"

#include <cstdint>
#include <cstring>
#include <new>
#include <vector>

#include "parser/engine/field_memory.h"
#include "parser/engine/structure_engine.h"
#include "parser/foundation/parameter_logging.h"

namespace ParameterEngine {
namespace {

uint32_t WordAt(const unsigned char* pBase, uint32_t offset) {
    uint32_t word = 0;
    std::memcpy(&word, pBase + offset, sizeof(word));
    return word;
}

// The (array, depth) pairs a walk has met, in one open-addressed block: a tree of thousands of
// arrays would otherwise allocate a set node for each.
class WalkedArrays {
public:
    // False when the pair was met before. `pArray` is never null.
    bool Insert(const unsigned char* pArray, uint32_t depth) {
        if ((m_count + 1) * 2 > m_slots.size()) {
            Grow();
        }
        const size_t mask = m_slots.size() - 1;
        for (size_t i = Hash(pArray, depth) & mask;; i = (i + 1) & mask) {
            Slot& slot = m_slots[i];
            if (slot.pArray == nullptr) {
                slot = {pArray, depth};
                ++m_count;
                return true;
            }
            if (slot.pArray == pArray && slot.depth == depth) {
                return false;
            }
        }
    }

private:
    struct Slot {
        const unsigned char* pArray = nullptr;
        uint32_t depth = 0;
    };

    static size_t Hash(const unsigned char* pArray, uint32_t depth) {
        const uint64_t key = (reinterpret_cast<uintptr_t>(pArray) >> 3) ^ (uint64_t{depth} << 48);
        return static_cast<size_t>((key * 0x9E3779B97F4A7C15ull) >> 20);
    }

    void Grow() {
        std::vector<Slot> slots(m_slots.empty() ? 64 : m_slots.size() * 2);
        slots.swap(m_slots);
        m_count = 0;
        for (const Slot& slot : slots) {
            if (slot.pArray != nullptr) {
                Insert(slot.pArray, slot.depth);
            }
        }
    }

    std::vector<Slot> m_slots;
    size_t m_count = 0;
};

// One walk over a tree. Arrays of nodes shared through duplicates can be reached more than once,
// even from below themselves; the words an array gets depend only on its depth, so each array
// is walked once per depth, and never deeper than a tree can load.
class TreeWalk {
public:
    TreeWalk(const TriggerTreeDescriptor& tree, const void* pVariables)
        : m_tree(tree),
          m_pVariables(static_cast<const unsigned char*>(
              GetPointer(static_cast<const unsigned char*>(pVariables), tree.variableArrayOffset))),
          m_count(m_pVariables != nullptr
                      ? WordAt(static_cast<const unsigned char*>(pVariables),
                               tree.variableCountOffset)
                      : 0) {}

    void Node(unsigned char* pNode, uint32_t depth) {
        if (depth >= m_count || depth >= kMaxNesting) {
            return;
        }
        uint32_t variable = WordAt(m_pVariables, depth * uint32_t{sizeof(uint32_t)});
        std::memcpy(pNode + m_tree.indexOffset, &depth, sizeof(depth));
        std::memcpy(pNode + m_tree.typeOffset, &variable, sizeof(variable));
        Nodes(static_cast<unsigned char*>(GetPointer(pNode, m_tree.childArrayOffset)),
              WordAt(pNode, m_tree.childCountOffset), depth + 1);
    }

    void Nodes(unsigned char* pNodes, uint32_t count, uint32_t depth) {
        if (pNodes == nullptr || depth >= m_count || !m_walked.Insert(pNodes, depth)) {
            return;
        }
        for (uint32_t i = 0; i < count; ++i) {
            Node(pNodes + uint64_t{i} * m_tree.node->size, depth);
        }
    }

private:
    const TriggerTreeDescriptor& m_tree;
    const unsigned char* m_pVariables;
    uint32_t m_count;
    WalkedArrays m_walked;
};

void LogNoMemory(IParameterLoggingAPI* pLogger) {
    ParameterLogging::Write(pLogger, ParameterLogging::Error, __FILE__, __LINE__,
                            "Failed to allocate trigger\n");
}

}  // namespace

void UpdateTriggerType(const TriggerTreeDescriptor& tree, const void* pVariables, void* pNode,
                       uint32_t depth, IParameterLoggingAPI* pLogger) {
    try {
        TreeWalk(tree, pVariables).Node(static_cast<unsigned char*>(pNode), depth);
    } catch (const std::bad_alloc&) {
        LogNoMemory(pLogger);
    }
}

void UpdateTriggerTree(const TriggerTreeDescriptor& tree, void* pTop,
                       IParameterLoggingAPI* pLogger) {
    auto* pBase = static_cast<unsigned char*>(pTop);
    try {
        TreeWalk(tree, pBase + tree.variablesOffset)
            .Nodes(static_cast<unsigned char*>(GetPointer(pBase, tree.rootArrayOffset)),
                   WordAt(pBase, tree.rootCountOffset), 0);
    } catch (const std::bad_alloc&) {
        LogNoMemory(pLogger);
    }
}

}  // namespace ParameterEngine
