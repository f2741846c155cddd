// Format strings to format-code lists, and the check of records.
#include "format_language.h"

#include <algorithm>
#include <cstddef>
#include <cwchar>

namespace zemt {
namespace {

// A list's positions and lengths are counted in wide characters of a format of at most this many.
constexpr size_t longest_format = 32767;

// The kind of a format with one more keyword. The short numbers and the indicator take part in none.
constexpr int32_t kind_with(int32_t kind, const Keyword &keyword)
{
    if (keyword.code == ZEMT_FMT_M || keyword.code == ZEMT_FMT_D || keyword.code == ZEMT_FMT_PM) return kind;
    return keyword.meaning.kind | (kind > 0 && kind <= ZEMT_KIND_TIMESTAMP ? kind : 0);
}

static_assert((ZEMT_KIND_DATE | ZEMT_KIND_TIME) == ZEMT_KIND_TIMESTAMP);
static_assert(std::size(fmtCodes) == 19 && std::size(ZEMT_FullMonths) == 12);
static_assert(sizeof(ZEMTFmtItem) == 16 && sizeof(ZEMTDateFormat) == 48 && offsetof(ZEMTDateFormat, formatCodes) == 32);
static_assert(sizeof(ZEMTTS) == 24 && sizeof(ZEMTDate) == 16 && sizeof(ZEMTTime) == 16);
static_assert(offsetof(ZEMTCnvParms, precision) == 16 && offsetof(ZEMTCnvParms, skipTranscode) == 24 &&
              offsetof(ZEMTCnvParms, dateFormat) == 32);

}  // namespace
}  // namespace zemt

using namespace zemt;

int32_t ZEMTGetFormatCodes(const wchar_t *format, ZEMTFmtItem *list, int32_t *kind) noexcept
{
    const bool complete = format != nullptr && list != nullptr && kind != nullptr;
    if (!complete || wcsnlen(format, longest_format + 1) > longest_format) return ZEMT_RC_ERROR;

    ZEMTFmtItem *entry = list;
    for (const wchar_t *at = format; *at != L'\0'; ++entry) {
        if (*at != L'%') {
            entry->ch = *at++;
            entry->code = ZEMT_FMT_LITERAL;
            continue;
        }
        const auto fits = [at](const Keyword &keyword) { return begins_with(bytes(at + 1), keyword.keyword, keyword.length); };
        const Keyword *const keyword = std::find_if(std::begin(fmtCodes), std::end(fmtCodes), fits);
        if (keyword == std::end(fmtCodes)) return ZEMT_RC_UNKNOWN_FORMAT_CODE;
        entry->code = keyword->code;
        entry->length = keyword->length;
        entry->position = static_cast<int32_t>(at - format);
        *kind = kind_with(*kind, *keyword);
        at += 1 + keyword->length;
    }
    entry->code = ZEMT_FMT_END;
    return ZEMT_RC_OK;
}

int32_t ZEMTValidateDateTime(const ZEMTTS *ts, int32_t mode) noexcept
{
    return ts == nullptr ? ZEMT_RC_ERROR : check(components_of<ZEMTTS>(ts), mode);
}
