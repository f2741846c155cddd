// Blanks removed in place.
#include "layouts.h"
#include "zemt.h"

namespace zemt {
namespace {

// Padding is long: it is passed in steps of 8 bytes as far as they are blank.
template <typename Unit>
int32_t without_trailing_blanks(const char *text, int32_t length)
{
    constexpr int32_t step = 8 / sizeof(Unit);
    constexpr uint64_t blanks = sizeof(Unit) == 1 ? 0x2020202020202020 : 0x0000002000000020;
    while (length >= step && load<uint64_t>(unit_place<Unit>(text, length - step)) == blanks) length -= step;
    while (length > 0 && load<Unit>(unit_place<Unit>(text, length - 1)) == ' ') --length;
    return length;
}

template <typename Unit>
int32_t trim(char *text, int32_t *len, bool leading, bool trailing)
{
    int32_t length = *len < 0 ? 0 : *len;
    if (leading) {
        int32_t blanks = 0;
        while (blanks < length && load<Unit>(unit_place<Unit>(text, blanks)) == ' ') ++blanks;
        length -= blanks;
        if (length == 0) {
            *len = 0;
            return ZEMT_RC_OK;
        }
        if (blanks > 0) std::memmove(text, unit_place<Unit>(text, blanks), static_cast<size_t>(length) * sizeof(Unit));
    }
    if (trailing) {
        length = without_trailing_blanks<Unit>(text, length);
        store(unit_place<Unit>(text, length), Unit{0});
    }
    *len = length;
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

int32_t TrimSpaces(char *text, int32_t *len, uint8_t leading, uint8_t trailing) noexcept
{
    return trim<char>(text, len, leading == 1, trailing == 1);
}

int32_t TrimSpacesW(wchar_t *text, int32_t *len, uint8_t leading, uint8_t trailing) noexcept
{
    return trim<Wide>(bytes(text), len, leading == 1, trailing == 1);
}

int32_t TrimAllSpacesTabsW(wchar_t *text, int32_t *len) noexcept
{
    const wchar_t *const end = text + (*len < 0 ? 0 : *len);
    wchar_t *kept = text;
    for (const wchar_t *at = text; at != end && *at != 0; ++at) {
        const wchar_t character = *at;
        *kept = character;
        kept += character != L' ' && character != L'\t';  // no branch: blanks come as they like
    }
    *kept = 0;
    *len = static_cast<int32_t>(kept - text);
    return ZEMT_RC_OK;
}
