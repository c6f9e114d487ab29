// Walks a mode branch down the tree the way every lookup does: step 0 stands for the root
// and is not searched for; from step 1 on, each run of steps sharing the full 32-bit Mode is
// one group, searched from the mode reached so far.
#pragma once

#include "parser/setmanager/mode_entry.h"
#include "parser/setmanager/tuning_mode.h"

class BranchWalk {
public:
    BranchWalk(ModeEntry* pStart, const TuningMode* pBranch, unsigned int count)
        : m_pMode(pStart), m_pBranch(pBranch), m_count(pBranch != nullptr ? count : 0) {}

    // The mode the next group leads to; null when the branch is used up or the group did
    // not match, which Failed() then tells.
    ModeEntry* Next() {
        if (m_failed || m_pMode == nullptr || m_step >= m_count) {
            return nullptr;
        }
        unsigned int end = m_step + 1;
        while (end < m_count && m_pBranch[end].Mode == m_pBranch[m_step].Mode) {
            ++end;
        }
        ModeEntry* pFound = m_pMode->FindMode(&m_pBranch[m_step], end - m_step, 0);
        m_step = end;
        m_failed = pFound == nullptr;
        if (pFound != nullptr) {
            m_pMode = pFound;
        }
        return pFound;
    }

    bool Failed() const { return m_failed; }
    // The last mode reached: the start until a group matched.
    ModeEntry* Current() const { return m_pMode; }

private:
    ModeEntry* m_pMode;
    const TuningMode* m_pBranch;
    unsigned int m_count;
    unsigned int m_step = 1;
    bool m_failed = false;
};
