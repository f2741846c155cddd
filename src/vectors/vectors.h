// Sixteen characters at a time: the one place where the operations of the processor are chosen.
#pragma once

#include <cstddef>

#include "processor.h"

#if ZEMT_X86_64
#include "masks.h"
#include "sse2.h"
#else
#include "portable.h"
#endif

namespace zemt {

// Moves the ASCII characters that a text begins with, 16 at a time; returns how many.
template <typename Unit>
inline ptrdiff_t widen_ascii(char *dst, const char *src, ptrdiff_t count)
{
    ptrdiff_t moved = 0;
#if ZEMT_X86_64
    if (sizeof(Unit) == 4 && count >= long_text && has_wide_registers()) moved = widen_by_32(dst, src, count);
#endif
    for (; count - moved >= 16; moved += 16) {
        const Bytes16 text = load16(src + moved);
        if (!all_ascii(text)) break;
        char *const units = dst + moved * ptrdiff_t{sizeof(Unit)};
        widen_halves<Unit>(units, units + 8 * sizeof(Unit), text);
    }
    return moved;
}

template <typename Unit>
inline ptrdiff_t narrow_ascii(char *dst, const char *src, ptrdiff_t count)
{
    ptrdiff_t moved = 0;
#if ZEMT_X86_64
    if (sizeof(Unit) == 4 && count >= long_text && has_wide_registers()) moved = narrow_by_32(dst, src, count);
#endif
    for (Bytes16 text; count - moved >= 16; moved += 16) {
        if (!narrow16<Unit>(src + moved * ptrdiff_t{sizeof(Unit)}, text) || !all_ascii(text)) break;
        store16(dst + moved, text);
    }
    return moved;
}

}  // namespace zemt
