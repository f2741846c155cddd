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

// The library's objects take memory by malloc alone; interface.sh looks.
extern "C" void *__real_malloc(size_t size);
extern "C" void *__wrap_malloc(size_t size)
{
    return refuses() ? nullptr : __real_malloc(size);
}
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
                   size_t length, size_t format_size = 31)
{
    Format format(L"%YYYY%MM%DD" + std::wstring(format_size - 11, '!'));
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

TEST(Memory, IsTakenByLongDatesAndTimesOnly)
{
    using List = std::vector<ZEMTConversion *>;
    const List in_place = {ZEMTCnvZEMTDateToWVarcharSz, ZEMTCnvZEMTTSToWVarcharSz};
    const List delivered = {ZEMTCnvZEMTTSToWchar, ZEMTCnvZEMTTSToWVarchar, ZEMTCnvZEMTTSToChar, ZEMTCnvZEMTTSToVarchar,
                            ZEMTCnvZEMTTSToVarcharSz};
    const std::pair<Layout, List> parsers[] = {
        {Char, {ZEMTCnvDateTimeCharToZEMTTS}},
        {Varchar, {ZEMTCnvDateTimeVarcharToZEMTTS}},
        {VarcharSz, {ZEMTCnvDateTimeSzToZEMTTS}},
        {WChar, {ZEMTCnvDateTimeWcharToZEMTTS}},
        {WVarchar, {ZEMTCnvDateTimeWVarcharToZEMTTS}},
        {WVarcharSz, {ZEMTCnvDateTimeWSzToZEMTTS, ZEMTCnvDateTimeWSzToZEMTDate, ZEMTCnvDateTimeWSzToZEMTTime}},
    };
    for (const size_t size : {8u, 127u, 128u, 4000u}) {
        const std::string text = "20240115" + std::string(size - 8, '0');
        for (const auto &[layout, conversions] : parsers) {
            const std::string characters = unit_of[layout] == 1 ? text : wide(std::wstring(text.begin(), text.end()));
            expect_blocks(size > 127 && layout != WVarcharSz, 0, conversions, laid_out(layout, characters), size);
        }
        for (const size_t format_size : {11u, 63u, 64u, 500u}) {
            const std::wstring format = L"%YYYY%MM%DD" + std::wstring(format_size - 11, '!');
            ZEMTDate date{1, 2, 3, {}, format.c_str()};
            const auto parse = [&](char *, int32_t *) { return ZEMTDateCharToDate(text.c_str(), &date); };
            expect_blocks((format_size > 63) + (size > 127), 0, parse);
        }
    }
    for (const int digits : {0, 16, 800}) {
        expect_blocks(0, 0, [&](char *dst, int32_t *) {
            return FloatToString(0.1, reinterpret_cast<wchar_t *>(dst), static_cast<int16_t>(digits));
        });
    }
    expect_blocks(0, 0, {ZEMTCnvZEMTTimeToWVarcharSz}, image(at(0, 0, 0)), 0);
    for (const int month : {3, 13}) {
        expect_blocks(0, month == 13 ? 56 : 0, in_place, image(at(2024, month, 5)), 0);
        for (const size_t format_size : {31u, 258u, 259u})  // of texts with 3 characters fewer
            expect_blocks(month == 3 && format_size > 258, month == 13 ? 56 : 0, delivered, image(at(2024, month, 5)), 0,
                          format_size);
    }
}

}  // namespace
