#include "mode_walk.h"

#include <utility>

#include "parser/setmanager/mode_entry.h"

namespace zyratune {

void ForEachMode(ModeEntry* pRoot, const std::function<void(ModeEntry&, unsigned int)>& visit) {
    // An explicit stack: a binary may nest its modes as deep as it likes.
    std::vector<std::pair<ModeEntry*, unsigned int>> pending;
    if (pRoot != nullptr) {
        pending.emplace_back(pRoot, 0);
    }
    while (!pending.empty()) {
        auto [pMode, depth] = pending.back();
        pending.pop_back();
        visit(*pMode, depth);
        std::vector<ModeEntry*> children;
        for (ModeEntry* pChild = pMode->FirstChild; pChild != nullptr;
             pChild = pChild->NextSibling) {
            children.push_back(pChild);
        }
        for (auto it = children.rbegin(); it != children.rend(); ++it) {
            pending.emplace_back(*it, depth + 1);
        }
    }
}

}  // namespace zyratune
