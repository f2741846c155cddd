// Parsing of format strings into format-code lists.
#include "format_language.h"

#include <cwchar>
#include <iterator>

namespace zemt {
namespace {

// A list's positions and lengths are counted in wide characters of a format of at most this many.
constexpr size_t longest_format = 32767;

const Keyword *match_keyword(const wchar_t *text)
{
    for (const Keyword &keyword : fmtCodes) {
        if (begins_with(bytes(text), keyword.keyword, keyword.length)) return &keyword;
    }
    return nullptr;
}

constexpr int32_t kind_with(int32_t kind, uint32_t code)
{
    switch (code) {
    case ZEMT_FMT_YYYY:
    case ZEMT_FMT_YY:
    case ZEMT_FMT_MONTH:
    case ZEMT_FMT_MMM:
    case ZEMT_FMT_MM:
    case ZEMT_FMT_DD: return kind == ZEMT_KIND_TIME || kind == ZEMT_KIND_TIMESTAMP ? ZEMT_KIND_TIMESTAMP : ZEMT_KIND_DATE;
    case ZEMT_FMT_HH24:
    case ZEMT_FMT_HH:
    case ZEMT_FMT_MI:
    case ZEMT_FMT_SS: return kind == ZEMT_KIND_DATE || kind == ZEMT_KIND_TIMESTAMP ? ZEMT_KIND_TIMESTAMP : ZEMT_KIND_TIME;
    case ZEMT_FMT_M:
    case ZEMT_FMT_D:
    case ZEMT_FMT_PM: return kind;
    default: return ZEMT_KIND_TIMESTAMP;
    }
}

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
    if (format == nullptr || list == nullptr || kind == nullptr) return ZEMT_RC_ERROR;
    if (wcsnlen(format, longest_format + 1) > longest_format) return ZEMT_RC_ERROR;

    ZEMTFmtItem *entry = list;
    for (const wchar_t *at = format; *at != L'\0'; ++entry) {
        if (*at != L'%') {
            entry->ch = *at++;
            entry->code = ZEMT_FMT_LITERAL;
            continue;
        }
        const Keyword *const keyword = match_keyword(at + 1);
        if (keyword == nullptr) return ZEMT_RC_UNKNOWN_FORMAT_CODE;
        entry->code = keyword->code;
        entry->length = keyword->length;
        entry->position = static_cast<int32_t>(at - format);
        *kind = kind_with(*kind, keyword->code);
        at += 1 + keyword->length;
    }
    entry->code = ZEMT_FMT_END;
    return ZEMT_RC_OK;
}
