#pragma once

#include <cstring>
#include <string>

// Hand-built file images: little-endian words, zero runs, block headers.
inline std::string le32(unsigned int v)
{
    return {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
}
inline std::string f32(float f)
{
    unsigned int bits;
    memcpy(&bits, &f, 4);
    return le32(bits);
}
inline std::string zeros(size_t n)
{
    return std::string(n, '\0');
}
inline std::string block(unsigned tag, unsigned size, unsigned count, const std::string& data,
                         float param = 0.0f)
{
    return le32(tag) + le32(size) + le32(count) + f32(param) + data;
}
