// The table of all functions.
#include "models/codec.h"
#include "models/dates.h"
#include "models/decimals.h"
#include "models/numbers.h"
#include "models/text.h"

namespace {

constexpr int32_t inconsistent = 999;  // returned by an adapter that has seen what may not be

// ---- Functions of another form in the common form. Where nothing else is said, *srcLen counts what stands at src.

#define FORM(...)                                                                                                              \
    []([[maybe_unused]] const void *src, [[maybe_unused]] int32_t *cell, [[maybe_unused]] void *dst,                           \
       [[maybe_unused]] int32_t size, [[maybe_unused]] int32_t *length,                                                        \
       [[maybe_unused]] const ZEMTCnvParms *parms) noexcept -> int32_t { __VA_ARGS__; }

// A pointer of whatever type is asked for.
struct At {
    const void *place;
    template <class Type>
    operator Type *() const
    {
        return static_cast<Type *>(const_cast<void *>(place));
    }
};

// What the routines for one character make of a text.

int32_t encode(char *end, int32_t size, const uint32_t *unit, int32_t left, int32_t *length)
{
    int32_t status = *length = 0;
    for (const char *const dst = end; left > 0 && *unit != 0; ++unit, --left) {
        if (ConvertTo8(&end, dst == nullptr ? size : size - *length, *unit, &status, length) == 0) break;
        if (end != (dst == nullptr ? nullptr : dst + *length)) return inconsistent;
    }
    return status;
}

int32_t decode(uint32_t *dst, int32_t size, const char *in, int32_t left, int32_t *length)
{
    for (*length = 0;; ++*length) {
        const char *const start = in;
        uint32_t value = 99;
        int32_t status = kept, taken = kept;
        const bool done = ConvertFrom8(&value, &in, left, &status, &taken) == 1;
        const bool is_sound =
            done ? taken != -1 || value == static_cast<uint8_t>(*start) : value == 0 && taken > std::max(left, 0);
        if (!is_sound || status != (done ? kept : 28) || in - start != (done ? std::max(taken, 1) : left > 0))
            return inconsistent;
        if (left <= 0) return taken == 1 ? 0 : inconsistent;
        if (!done || taken == -1 || value == 0) return done ? 0 : status;
        if (dst != nullptr && *length >= size) return 28;
        if (dst != nullptr) dst[*length] = value;
        left -= taken;
    }
}

const ZEMTFmtItem *list_of(const ZEMTCnvParms *parms)
{
    return parms == nullptr || parms->dateFormat == nullptr ? nullptr : parms->dateFormat->formatCodes;
}

int32_t trim_all(wchar_t *text, int32_t *length, uint8_t, uint8_t)
{
    return TrimAllSpacesTabsW(text, length);
}

template <auto convert>
ZEMTConversion *const units = FORM(return convert(At{dst}, size, At{src}, *cell, length));

template <auto trim, size_t unit>
ZEMTConversion *const trim_in_place = FORM(memcpy(dst, src, (static_cast<size_t>(std::max(*length = *cell, 0)) + 1) * unit);
                                           return trim(At{dst}, length, static_cast<uint8_t>(size),
                                                       static_cast<uint8_t>(size >> 8)));

template <auto format>
ZEMTConversion *const format_short = FORM(return format(loaded<int32_t>({At{src}, 4}), At{dst}, length));

template <auto read>
ZEMTConversion *const read_part = FORM(return read(At{src}, At{dst}, *cell, size));

template <auto format>
ZEMTConversion *const format_fixed = FORM(return format(At{src}, At{dst}, size, length));

ZEMTConversion *const to_string =
    FORM(const int32_t status = FloatToString(loaded<double>({At{src}, 8}), At{dst}, static_cast<int16_t>(size));
         if (status == 0) *length = static_cast<int32_t>(wcslen(At{dst})); return status);

ZEMTConversion *const build_varnum = FORM(return ConvertBCDToOraVarNum(
    dst, At{src}, static_cast<int16_t>(*cell), static_cast<int16_t>(size), static_cast<char>(size >> 16)));

ZEMTConversion *const validate = FORM(return ZEMTValidateDateTime(At{src}, size));

ZEMTConversion *const get_codes =
    FORM(if (length != nullptr) *length = *cell; return ZEMTGetFormatCodes(At{src}, At{dst}, length));

ZEMTConversion *const format_record = FORM(return ZEMTTSToWVarcharSz(At{dst}, size, list_of(parms), At{src}, *cell));

ZEMTConversion *const seek_literals =
    FORM(const ZEMTFmtItem *entry = list_of(parms); const wchar_t *position = At{src};
         const int32_t status = ZEMTGetNextCodePosInSourceW(&entry, &position, At{dst});
         *length = static_cast<int32_t>(entry - list_of(parms));
         *cell = status == -1 ? 0 : static_cast<int32_t>(position - static_cast<const wchar_t *>(src)); return status);

ZEMTConversion *const read_any = FORM(const auto *const list = list_of(parms);
                                      const int32_t format_length = list == nullptr ? 1 : parms->dateFormat->formatLength;
                                      return ZEMTWVarcharSzToTS(At{src}, size, list, format_length, At{dst}, size));

ZEMTConversion *const read_alone =
    FORM(ZEMTDate *const date = At{dst}; memcpy(&date->formatText, parms->callerData, sizeof date->formatText);
         return ZEMTDateCharToDate(At{src}, date));

// ---- The table

constexpr unsigned Ends = NoSource | NoDestination, Counts = Typed | CellNeeded | NoDestination | NoOutLength;

#define NAMED(name) #name, name
// clang-format off
const Function table[] = {
    {"ConvertTo8", units<encode>, converted_units<read32, write8>, Codec, WChar, Char, Typed | CellNeeded | NoDestination},
    {"ConvertFrom8", units<decode>, converted_units<read8, write32>, Codec, Char, WChar, Typed | CellNeeded | NoDestination},
    {"Convert32To8", units<Convert32To8>, converted_units<read32, write8>, Codec, WChar, Char, Counts},
    {"Convert16To8", units<Convert16To8>, converted_units<read16, write8>, Codec, Char16, Char, Counts},
    {"Convert8To32", units<Convert8To32>, converted_units<read8, write32>, Codec, Char, WChar, Counts},
    {"Convert8To16", units<Convert8To16>, converted_units<read8, write16>, Codec, Char, Char16, Counts},

    {NAMED(ZEMTCnvCharToVarcharSz), converted_text<Copy, Refused, Input>, Text, Char, VarcharSz, Ends},
    {NAMED(ZEMTCnvCharToWVarcharSz), converted_text<Transcode, Refused, Input>, Text, Char, WVarcharSz, Ends},
    {NAMED(ZEMTCnvWCharToVarcharSz), converted_text<Narrow, Refused, Input>, Text, WChar, VarcharSz, Ends},
    {NAMED(ZEMTCnvWCharToWVarcharSz), converted_text<Copy, Refused, Input>, Text, WChar, WVarcharSz, Ends},
    {NAMED(ZEMTCnvVarcharToVarcharSz), converted_text<Copy, Refused, Taken>, Text, Varchar, VarcharSz, Ends},
    {NAMED(ZEMTCnvVarcharToWVarcharSz), converted_text<Transcode, Refused, Whole>, Text, Varchar, WVarcharSz, Ends},
    {NAMED(ZEMTCnvWVarcharToVarcharSz), converted_text<Narrow, Refused, Taken>, Text, WVarchar, VarcharSz, Ends},
    {NAMED(ZEMTCnvWVarcharToWVarcharSz), converted_text<Copy, Refused, Whole>, Text, WVarchar, WVarcharSz, Ends},
    {NAMED(ZEMTCnvVarcharSzToVarcharSz), converted_text<Copy, Allowed, Taken>, Text, VarcharSz, VarcharSz, Ends},
    {NAMED(ZEMTCnvVarcharSzToWVarcharSz), converted_text<Transcode, Refused, Whole>, Text, VarcharSz, WVarcharSz, Ends},
    {NAMED(ZEMTCnvWVarcharSzToWVarcharSz), converted_text<Copy, Refused, Whole>, Text, WVarcharSz, WVarcharSz, Ends},
    {NAMED(ZEMTCnvWVarcharSzToWVarcharSzOut), converted_text<Copy, Refused, Whole, 0, true>, Text, WVarcharSz, WVarcharSz, Ends},
    {NAMED(ZEMTCnvVarcharSzToChar), converted_text<Copy, Allowed, Taken>, Text, VarcharSz, Char, Ends},
    {NAMED(ZEMTCnvWVarcharSzToChar), converted_text<Transcode, Allowed, Whole>, Text, WVarcharSz, Char, Ends},
    {NAMED(ZEMTCnvVarcharSzToWChar), converted_text<Transcode, Refused, Whole>, Text, VarcharSz, WChar, Ends},
    {NAMED(ZEMTCnvWVarcharSzToWChar), converted_text<Copy, Refused, Whole>, Text, WVarcharSz, WChar, Ends},
    {NAMED(ZEMTCnvVarcharSzToVarchar), converted_text<Copy, Allowed, Taken, 0, false, 32767>, Text, VarcharSz, Varchar, Ends},
    {NAMED(ZEMTCnvWVarcharSzToVarchar), converted_text<Transcode, Allowed, Whole, 2>, Text, WVarcharSz, Varchar, Ends},
    {NAMED(ZEMTCnvVarcharSzToWVarchar), converted_text<Transcode, Allowed, Whole, 2>, Text, VarcharSz, WVarchar, Ends},
    {NAMED(ZEMTCnvWVarcharSzToWVarchar), converted_text<Copy, Refused, Whole>, Text, WVarcharSz, WVarchar, Ends},
    {NAMED(ZEMTCnvWVarcharSzToVarcharSz), converted_text<Transcode, Allowed, Whole>, Text, WVarcharSz, VarcharSz, Ends},

    {"TrimSpaces", trim_in_place<TrimSpaces, 1>, trimmed<char>, Trimming, Char, Char, Typed | CellNeeded},
    {"TrimSpacesW", trim_in_place<TrimSpacesW, 4>, trimmed<wchar_t>, Trimming, WChar, WChar, Typed | CellNeeded},
    {"TrimAllSpacesTabsW", trim_in_place<trim_all, 4>, without_blanks, Trimming, WChar, WChar, Typed | CellNeeded},

    {NAMED(ZEMTCnvTinyIntToWVarcharSz), written_integer<int8_t, ZEMT_ROOM_TINY_INT>, Integers, Record, WVarcharSz, 0, 1},
    {NAMED(ZEMTCnvSmallIntToWVarcharSz), written_integer<int16_t, ZEMT_ROOM_SMALL_INT>, Integers, Record, WVarcharSz, 0, 2},
    {NAMED(ZEMTCnvIntToWVarcharSz1), written_integer<int32_t, ZEMT_ROOM_INT>, Integers, Record, WVarcharSz, 0, 4},
    {NAMED(ZEMTCnvLongLongToWVarcharSz), written_integer<int64_t, ZEMT_ROOM_LONG_LONG>, Integers, Record, WVarcharSz, 0, 8},
    {NAMED(ZEMTCnvTinyUIntToWVarcharSz), written_integer<uint8_t, ZEMT_ROOM_TINY_UINT>, Integers, Record, WVarcharSz, 0, 1},
    {NAMED(ZEMTCnvSmallUIntToWVarcharSz), written_integer<uint16_t, ZEMT_ROOM_SMALL_UINT>, Integers, Record, WVarcharSz, 0, 2},
    {NAMED(ZEMTCnvUIntToWVarcharSz), written_integer<uint32_t, ZEMT_ROOM_UINT>, Integers, Record, WVarcharSz, 0, 4},
    {NAMED(ZEMTCnvULONGLONGToWVarcharSz), written_integer<uint64_t, ZEMT_ROOM_ULONGLONG>, Integers, Record, WVarcharSz, 0, 8},
    {NAMED(ZEMTCnvUIntToVarcharSz), written_integer<uint32_t, ZEMT_ROOM_UINT>, Integers, Record, VarcharSz, 0, 4},
    {NAMED(ZEMTCnvULONGLONGToVarcharSz), written_integer<uint64_t, ZEMT_ROOM_ULONGLONG>, Integers, Record, VarcharSz, 0, 8},
    {NAMED(ZEMTCnvWVarcharSzToTinyInt), read_integer<int8_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToSmallInt), read_integer<int16_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToInt1), read_integer<int32_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToLongLong), read_integer<int64_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToTinyUInt), read_integer<uint8_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToSmallUInt), read_integer<uint16_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToUInt), read_integer<uint32_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvWVarcharSzToULONGLONG), read_integer<uint64_t>, Integers, WVarcharSz, Record},
    {NAMED(ZEMTCnvVarcharSzToUInt), read_integer<uint32_t>, Integers, VarcharSz, Record},
    {NAMED(ZEMTCnvVarcharSzToULONGLONG), read_integer<uint64_t>, Integers, VarcharSz, Record},
    {"ZEMTCnvIntToVarcharSz", format_short<ZEMTCnvIntToVarcharSz>, written_integer<int32_t, ZEMT_ROOM_INT, true>, Integers, Record, VarcharSz, Typed, 4},
    {"ZEMTCnvIntToWVarcharSz", format_short<ZEMTCnvIntToWVarcharSz>, written_integer<int32_t, ZEMT_ROOM_UINT, true>, Integers, Record, WVarcharSz, Typed, 4},

    {"ZEMTCnvVarcharSzToInt", read_part<ZEMTCnvVarcharSzToInt>, read_field, Fields, Char, Record, Typed | CellNeeded},
    {"ZEMTCnvWVarcharSzToInt", read_part<ZEMTCnvWVarcharSzToInt>, read_field, Fields, WChar, Record, Typed | CellNeeded},

    {NAMED(ZEMTCnvDblToWVarcharSz), written_number<double, 16, ZEMT_ROOM_DBL>, Floating, Record, WVarcharSz, Ends, 8},
    {NAMED(ZEMTCnvFltToWVarcharSz), written_number<float, 7, ZEMT_ROOM_FLT>, Floating, Record, WVarcharSz, Ends, 4},
    {NAMED(ZEMTCnvWVarcharSzToDbl), read_number<double>, Floating, WVarcharSz, Record, Ends | NoOutLength},
    {NAMED(ZEMTCnvWVarcharSzToFlt), read_number<float>, Floating, WVarcharSz, Record, Ends | NoOutLength},
    {"FloatToString", to_string, written_number<double, -1, 0>, Floating, Record, WVarcharSz, Typed, 8},

    {NAMED(ZEMTCnvDecKestToVarcharSz), read_packed, Decimals, Packed, VarcharSz},
    {NAMED(ZEMTCnvDecKestToWVarcharSz), read_packed, Decimals, Packed, WVarcharSz},
    {NAMED(ZEMTCnvVarcharSzToDecKest), written_packed, Decimals, VarcharSz, Packed},
    {NAMED(ZEMTCnvWVarcharSzToDecKest), written_packed, Decimals, WVarcharSz, Packed},
    {NAMED(ZEMTCnvOraVarnumToVarcharSz_Unsigned), read_varnum, Decimals, Varnum, VarcharSz, CellNeeded},
    {NAMED(ZEMTCnvOraVarnumToWVarcharSz_Unsigned), read_varnum, Decimals, Varnum, WVarcharSz, CellNeeded},
    {NAMED(ZEMTCnvVarcharSz_UnsignedToOraVarnum), written_varnum, Decimals, VarcharSz, Varnum, CellNeeded | NoSource},
    {NAMED(ZEMTCnvWVarcharSz_UnsignedToOraVarnum), written_varnum, Decimals, WVarcharSz, Varnum, CellNeeded | NoSource},

    {"ConvertBCDToOraVarNum", build_varnum, built_varnum, Digits, Char, Varnum, CellNeeded | Changes},

    {"ZEMTGetFormatCodes", get_codes, listed_format, Formats, WVarcharSz, List, Typed | CellNeeded | Ends | NoOutLength},

    {"ZEMTValidateDateTime", validate, validated_record, Formatting, Record, Char, Typed | NoSource, 16},
    {"ZEMTTSToWVarcharSz", format_record, formatted_record, Formatting, Record, WVarcharSz, Typed | CellNeeded | Ends | NoParms, 16},
    {"ZEMTGetStringFromTS", format_fixed<ZEMTGetStringFromTS>, fixed_text, Formatting, Record, WVarcharSz, Typed | NoOutLength, 16},
    {"ZEMTGetStringAFromTS", format_fixed<ZEMTGetStringAFromTS>, fixed_text, Formatting, Record, VarcharSz, Typed | NoOutLength, 16},
    {NAMED(ZEMTCnvZEMTDateToWVarcharSz), formatted_text<1>, Formatting, Record, WVarcharSz, Ends | NoParms, 6},
    {NAMED(ZEMTCnvZEMTTimeToWVarcharSz), formatted_text<2>, Formatting, Record, WVarcharSz, Ends | NoParms, 6},
    {NAMED(ZEMTCnvZEMTTSToWVarcharSz), formatted_text<3>, Formatting, Record, WVarcharSz, Ends | NoParms, 16},
    {NAMED(ZEMTCnvZEMTTSToWchar), formatted_text<3, converted_text<Copy, Refused, Whole>>, Formatting, Record, WChar, Ends | NoParms, 16},
    {NAMED(ZEMTCnvZEMTTSToWVarchar), formatted_text<3, converted_text<Copy, Refused, Whole>>, Formatting, Record, WVarchar, Ends | NoParms, 16},
    {NAMED(ZEMTCnvZEMTTSToChar), formatted_text<3, converted_text<Transcode, Allowed, Whole>>, Formatting, Record, Char, Ends | NoParms, 16},
    {NAMED(ZEMTCnvZEMTTSToVarchar), formatted_text<3, converted_text<Transcode, Allowed, Whole, 2>>, Formatting, Record, Varchar, Ends | NoParms, 16},
    {NAMED(ZEMTCnvZEMTTSToVarcharSz), formatted_text<3, converted_text<Transcode, Allowed, Whole>>, Formatting, Record, VarcharSz, Ends | NoParms, 16},

    {"ZEMTGetNextCodePosInSourceW", seek_literals, sought, Parsing, WVarcharSz, WVarcharSz, Typed | CellNeeded},
    {"ZEMTWVarcharSzToTS", read_any, read_any_record, Parsing, WVarcharSz, Record, Typed | Ends | NoParms},
    {"ZEMTDateCharToDate", read_alone, read_date_alone, Parsing, VarcharSz, Record, Typed | NoSource},
    {NAMED(ZEMTCnvDateTimeCharToZEMTTS), read_date<Never>, Parsing, Char, Record, CellNeeded | Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeVarcharToZEMTTS), read_date<OnceRead>, Parsing, Varchar, Record, Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeSzToZEMTTS), read_date<OnSuccess>, Parsing, VarcharSz, Record, Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeWcharToZEMTTS), read_date<Never>, Parsing, WChar, Record, CellNeeded | Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeWVarcharToZEMTTS), read_date<OnSuccess>, Parsing, WVarchar, Record, Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeWSzToZEMTTS), read_date<AtOnce>, Parsing, WVarcharSz, Record, CellNeeded | Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeWSzToZEMTDate), read_date<AtOnce, 0, 6>, Parsing, WVarcharSz, Record, CellNeeded | Ends | NoParms},
    {NAMED(ZEMTCnvDateTimeWSzToZEMTTime), read_date<AtOnce, 6, 12>, Parsing, WVarcharSz, Record, CellNeeded | Ends | NoParms},
};
// clang-format on
static_assert(std::size(table) == 92);

}  // namespace

std::span<const Function> functions = table;
