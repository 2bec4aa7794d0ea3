#pragma once

#include <cstdint>

// Integer hash behind the simulator's reproducible noise, particles and counts: the same
// sequence on every platform for the same seed, so that a demo card or a frame can be made again.
inline std::uint32_t sim_hash32(std::uint32_t x) {
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}
