// Values at any address.
#pragma once

#include <cstdint>
#include <cstring>

namespace zemt {

template <typename T>
inline T load(const void *at)
{
    T value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

template <typename T>
inline void store(void *at, T value)
{
    std::memcpy(at, &value, sizeof value);
}

// Writes the lowest size (1..8) bytes of a value.
inline void store_up_to_8(char *at, uint64_t value, int size)
{
    if (size == 8) return store(at, value);
    if (size >= 4) {
        store(at, static_cast<uint32_t>(value));
        return store(at + size - 4, static_cast<uint32_t>(value >> (8 * (size - 4))));
    }
    at[0] = static_cast<char>(value);
    if (size > 1) store(at + size - 2, static_cast<uint16_t>(value >> (8 * (size - 2))));
}

}  // namespace zemt
