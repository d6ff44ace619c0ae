#pragma once

#include <array>
#include <cstddef>

// One 512-byte table: the bit count of every byte value, immediately followed by
// the upper-case table. The string type indexes its case table with signed
// characters, so bytes 0x80-0xFF land on the last 128 bit counts; keeping both
// tables in one array makes that reach well-defined instead of out of bounds.
namespace QDByteTables
{
constexpr std::array<unsigned char, 512> build()
{
    std::array<unsigned char, 512> t{};
    for (int b = 0; b < 256; ++b)
    {
        int n = 0;
        for (int bit = 0; bit < 8; ++bit)
            n += (b >> bit) & 1;
        t[std::size_t(b)] = (unsigned char)n;
        t[std::size_t(256 + b)] = (unsigned char)((b >= 'a' && b <= 'z') ? b - 'a' + 'A' : b);
    }
    return t;
}

inline constexpr std::array<unsigned char, 512> s_bitCountThenUpper = build();
inline constexpr const unsigned char* s_numberOfBitSet = s_bitCountThenUpper.data();
inline constexpr const unsigned char* s_toUpper = s_bitCountThenUpper.data() + 256;
} // namespace QDByteTables
