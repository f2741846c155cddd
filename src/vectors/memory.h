// Values at any address.
#pragma once

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

}  // namespace zemt
