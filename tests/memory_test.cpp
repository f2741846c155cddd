// Heap memory: how many blocks a call takes, and that it gives them back, whichever of them it cannot have.
#include <functional>
#include <new>

#include "support.h"

namespace {

bool counting = false;
int taken = 0, returned = 0, refused = 0;  // refused: the number of the block that is not to be had

bool refuses()
{
    return counting && ++taken == refused && (errno = ENOMEM);
}

}  // namespace

#define ALLOCATOR(name, parameters, ...)                                                                                       \
    extern "C" void *__real_##name parameters;                                                                                 \
    extern "C" void *__wrap_##name parameters                                                                                  \
    {                                                                                                                          \
        return refuses() ? nullptr : __real_##name(__VA_ARGS__);                                                               \
    }
ALLOCATOR(malloc, (size_t size), size)
ALLOCATOR(calloc, (size_t count, size_t size), count, size)
ALLOCATOR(realloc, (void *block, size_t size), block, size)
extern "C" void __real_free(void *block);
extern "C" void __wrap_free(void *block)
{
    returned += counting && block != nullptr;
    __real_free(block);
}

namespace {

// The call gives the status with that many blocks; without any one of them it returns -1 and leaves everything as it was.
void expect_blocks(int blocks, int32_t status, const std::function<int32_t(char *, int32_t *)> &function)
{
    for (refused = 0; refused <= blocks; ++refused) {
        Outcome got;
        char *const dst = destinations.offer(1 << 15);
        taken = returned = 0;
        counting = true;
        got.status = function(dst, &got.out_length);
        counting = false;
        got.value = destinations.found();
        EXPECT_EQ(got, (refused == 0 ? Outcome{status, got.value, got.out_length} : Outcome{-1}))
            << "without block " << refused;
        EXPECT_TRUE(refused > 0 || taken == blocks) << taken << " blocks";
        EXPECT_EQ(returned, taken - (refused > 0)) << "without block " << refused;
    }
}

void expect_blocks(int blocks, int32_t status, const std::vector<ZEMTConversion *> &conversions, const std::string &source,
                   size_t length)
{
    static Format format(L"%YYYY%MM%DD");
    format.parms.precision = 255;
    for (ZEMTConversion *const &convert : conversions) {
        for (const size_t shift : {0u, 1u}) {
            SCOPED_TRACE("conversion " + std::to_string(&convert - conversions.data()) + " of " + std::to_string(length));
            const char *const src = sources.hold(source, shift);
            expect_blocks(blocks, status, [&](char *dst, int32_t *out_length) {
                auto cell = static_cast<int32_t>(length);
                return convert(src, &cell, dst, (1 << 15) - 4, out_length, &format.parms);
            });
        }
    }
}

TEST(Memory, IsTakenByDatesAndTimesOnly)
{
    using List = std::vector<ZEMTConversion *>;
    const List in_place = {ZEMTCnvZEMTDateToWVarcharSz, ZEMTCnvZEMTTSToWVarcharSz};
    const List delivered = {ZEMTCnvZEMTTSToWchar, ZEMTCnvZEMTTSToWVarchar, ZEMTCnvZEMTTSToChar, ZEMTCnvZEMTTSToVarchar,
                            ZEMTCnvZEMTTSToVarcharSz};
    // clang-format off
    const List from_numbers = {ZEMTCnvTinyIntToWVarcharSz, ZEMTCnvSmallIntToWVarcharSz, ZEMTCnvIntToWVarcharSz1,
        ZEMTCnvLongLongToWVarcharSz, ZEMTCnvTinyUIntToWVarcharSz, ZEMTCnvSmallUIntToWVarcharSz, ZEMTCnvUIntToWVarcharSz,
        ZEMTCnvULONGLONGToWVarcharSz, ZEMTCnvUIntToVarcharSz, ZEMTCnvULONGLONGToVarcharSz, ZEMTCnvDecKestToVarcharSz,
        ZEMTCnvDecKestToWVarcharSz, ZEMTCnvDblToWVarcharSz, ZEMTCnvFltToWVarcharSz,
        ZEMTCnvOraVarnumToVarcharSz_Unsigned, ZEMTCnvOraVarnumToWVarcharSz_Unsigned};
    const List from_narrow_digits = {ZEMTCnvVarcharSzToDecKest, ZEMTCnvVarcharSz_UnsignedToOraVarnum};
    const List from_wide_digits = {ZEMTCnvWVarcharSzToDecKest, ZEMTCnvWVarcharSz_UnsignedToOraVarnum, ZEMTCnvWVarcharSzToDbl,
        ZEMTCnvWVarcharSzToFlt};
    const List from_narrow = {ZEMTCnvVarcharSzToVarcharSz, ZEMTCnvVarcharSzToWVarcharSz, ZEMTCnvVarcharSzToChar,
        ZEMTCnvVarcharSzToWChar, ZEMTCnvVarcharSzToVarchar, ZEMTCnvVarcharSzToWVarchar, ZEMTCnvVarcharSzToUInt,
        ZEMTCnvVarcharSzToULONGLONG};
    const List from_wide = {ZEMTCnvWVarcharSzToVarcharSz, ZEMTCnvWVarcharSzToWVarcharSz, ZEMTCnvWVarcharSzToWVarcharSzOut,
        ZEMTCnvWVarcharSzToChar, ZEMTCnvWVarcharSzToWChar, ZEMTCnvWVarcharSzToVarchar, ZEMTCnvWVarcharSzToWVarchar,
        ZEMTCnvWVarcharSzToTinyInt, ZEMTCnvWVarcharSzToSmallInt, ZEMTCnvWVarcharSzToInt1, ZEMTCnvWVarcharSzToLongLong,
        ZEMTCnvWVarcharSzToTinyUInt, ZEMTCnvWVarcharSzToSmallUInt, ZEMTCnvWVarcharSzToUInt, ZEMTCnvWVarcharSzToULONGLONG,
        ZEMTCnvDateTimeWSzToZEMTTS, ZEMTCnvDateTimeWSzToZEMTDate, ZEMTCnvDateTimeWSzToZEMTTime};
    // clang-format on
    const std::tuple<Layout, List, List> rows[] = {
        {Char, {ZEMTCnvCharToVarcharSz, ZEMTCnvCharToWVarcharSz}, {ZEMTCnvDateTimeCharToZEMTTS}},
        {Varchar, {ZEMTCnvVarcharToVarcharSz, ZEMTCnvVarcharToWVarcharSz}, {ZEMTCnvDateTimeVarcharToZEMTTS}},
        {VarcharSz, from_narrow, {ZEMTCnvDateTimeSzToZEMTTS}},
        {WChar, {ZEMTCnvWCharToVarcharSz, ZEMTCnvWCharToWVarcharSz}, {ZEMTCnvDateTimeWcharToZEMTTS}},
        {WVarchar, {ZEMTCnvWVarcharToVarcharSz, ZEMTCnvWVarcharToWVarcharSz}, {ZEMTCnvDateTimeWVarcharToZEMTTS}},
        {WVarcharSz, from_wide, {}},
    };
    for (const size_t size : {8u, 127u, 128u, 4000u}) {
        const std::string text = "20240115" + std::string(size - 8, '0');
        for (const auto &[layout, others, parsers] : rows) {
            const std::string characters = unit_of[layout] == 1 ? text : wide(std::wstring(text.begin(), text.end()));
            expect_blocks(0, 0, others, laid_out(layout, characters), characters.size());
            expect_blocks(size > 127, 0, parsers, laid_out(layout, characters), size);
        }
        for (const size_t format_size : {11u, 63u, 64u, 500u}) {
            const std::wstring format = L"%YYYY%MM%DD" + std::wstring(format_size - 11, '!');
            ZEMTDate date{1, 2, 3, {}, format.c_str()};
            const auto parse = [&](char *, int32_t *) { return ZEMTDateCharToDate(text.c_str(), &date); };
            expect_blocks((format_size > 63) + (size > 127), 0, parse);
        }
    }
    expect_blocks(0, 0, from_numbers, "\x03\x90" + std::string(126, '\x12'), 0);  // also a VARNUM and packed digits
    for (const size_t size : {1u, 17u, 240u}) {
        const std::string digits = "2." + std::string(size, '5');
        expect_blocks(0, 0, from_narrow_digits, laid_out(VarcharSz, digits), 0);
        expect_blocks(0, 0, from_wide_digits, laid_out(WVarcharSz, wide(std::wstring(digits.begin(), digits.end()))), 0);
    }
    for (const int digits : {0, 16, 800}) {
        expect_blocks(0, 0, [&](char *dst, int32_t *) {
            return FloatToString(0.1, reinterpret_cast<wchar_t *>(dst), static_cast<int16_t>(digits));
        });
    }
    expect_blocks(0, 0, {ZEMTCnvZEMTTimeToWVarcharSz}, image(at(0, 0, 0)), 0);
    for (const int month : {3, 13}) {
        expect_blocks(0, month == 13 ? 56 : 0, in_place, image(at(2024, month, 5)), 0);
        expect_blocks(1, month == 13 ? 56 : 0, delivered, image(at(2024, month, 5)), 0);
    }
}

}  // namespace
