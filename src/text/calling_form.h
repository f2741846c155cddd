// What all functions of the common form share.
#pragma once

#include <cstdint>

#include "zemt.h"

// Opens the definition of an exported function of the common form. The name is written out where it is used, so that a search
// for it finds its definition.
#define ZEMT_COMMON_FORM(name)                                                                                                 \
    int32_t name([[maybe_unused]] const void *src, [[maybe_unused]] int32_t *srcLen, [[maybe_unused]] void *dst,               \
                 [[maybe_unused]] int32_t dstSize, [[maybe_unused]] int32_t *outLen,                                           \
                 [[maybe_unused]] const ZEMTCnvParms *parms) noexcept

// The same for a row of a table: a name, and the call that it stands for.
#define ZEMT_ROW(name, ...)                                                                                                    \
    ZEMT_COMMON_FORM(name)                                                                                                     \
    {                                                                                                                          \
        return __VA_ARGS__;                                                                                                    \
    }

namespace zemt {

// A source that knows its own length reports it only to a caller who asks with 0.
inline void report_source_length(int32_t *srcLen, int64_t length)
{
    if (srcLen != nullptr && *srcLen == 0) *srcLen = static_cast<int32_t>(length);
}

}  // namespace zemt
