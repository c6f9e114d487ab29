// How far apart data that different threads write must lie for them never to share a cache
// line. Lines are 64 bytes on the targets, but processors also fetch a line's neighbour in
// its aligned pair, so a line next to one that another core writes keeps moving as well.
#pragma once

#include <cstddef>

constexpr size_t kThreadSeparation = 128;
