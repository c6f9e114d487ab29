// The loaded mode tree as the commands show it: nodes in file order, depth first, and the
// modules filed under each node (not those it sees through its parents or a link).
#pragma once

#include <functional>
#include <vector>

class ModeEntry;
class ParameterModule;

namespace zyratune {

void ForEachMode(ModeEntry* pRoot, const std::function<void(ModeEntry&, unsigned int)>& visit);

// Sorted by name, so that two dumps of equal binaries compare equal.
std::vector<ParameterModule*> LocalModules(ModeEntry& mode);

}  // namespace zyratune
