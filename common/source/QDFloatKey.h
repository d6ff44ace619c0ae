#pragma once

#include <cstdint>
#include <cstring>

// An unsigned key whose integer order is the float order (-inf < ... < -0.0 =
// 0.0 < ... < +inf) and whose equality is float equality: -0.0 maps to the key
// of 0.0. NaNs land above +inf (positive sign bit) or below -inf, each payload
// on its own key.
inline std::uint32_t qdFloatOrderKey(float f)
{
    std::uint32_t bits;
    std::memcpy(&bits, &f, sizeof bits);
    if (bits == 0x80000000u) bits = 0;
    return (bits & 0x80000000u) ? ~bits : (bits | 0x80000000u);
}
