#pragma once

#include <cstdint>

// The no-value marker: the largest signed 64-bit number. The prefix tree answers it for an absent
// key, and searches that find nothing answer it too.
inline constexpr int64_t NotFound = 0x7FFFFFFFFFFFFFFF;
