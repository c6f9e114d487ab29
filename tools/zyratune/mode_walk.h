// The loaded mode tree as the commands show it: nodes in file order, depth first.
#pragma once

#include <functional>
#include <vector>

class ModeEntry;

namespace zyratune {

void ForEachMode(ModeEntry* pRoot, const std::function<void(ModeEntry&, unsigned int)>& visit);

}  // namespace zyratune
