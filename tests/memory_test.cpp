// Heap memory: how many blocks a call takes, and that it gives them back, whichever of them it cannot have.
#include "expect.h"
#include "format.h"

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

ZEMTConversion *counted = nullptr;

int32_t call_counted(const void *src, int32_t *cell, void *dst, int32_t size, int32_t *length,
                     const ZEMTCnvParms *parms) noexcept
{
    taken = returned = 0;
    counting = true;
    const int32_t status = counted(src, cell, dst, size, length, parms);
    counting = false;
    return status;
}

// The call takes that many blocks; without any one of them it returns -1 and leaves everything as it was.
void expect_blocks(int blocks, Function f, const Call &c)
{
    Call lacking = c;
    lacking.lacks = NoSource;
    const Outcome done = f.model(f, c), failed = blocks > 0 ? f.model(f, lacking) : done;
    counted = std::exchange(f.convert, call_counted);
    for (refused = 0; refused <= blocks; ++refused) {
        const Outcome got = perform(f, c, done.value.size(), pattern), &wanted = refused > 0 ? failed : done;
        EXPECT_TRUE((refused > 0 || taken == blocks) && returned == taken - (refused > 0) && got.open != 0)
            << f.name << ": " << taken << " blocks, " << returned << " returned, without block " << refused;
        EXPECT_TRUE(got.status == wanted.status && (refused == 0 || got.value == wanted.value)) << f.name << shown(got);
    }
}

TEST(Memory, IsTakenByLongDatesAndTimesOnly)
{
    for (const size_t size : {8u, 127u, 128u, 4000u}) {
        for (const size_t format_size : {11u, 31u, 63u, 64u, 258u, 259u, 500u}) {
            const Format format(L"%YYYY%MM%DD" + std::wstring(format_size - 11, '!'));
            const std::string text = "20240115" + std::string(size - 8, '0');
            for (const Function &f : functions) {
                if (f.family == Fields || f.family == Trimming) continue;  // whose sources have more than their layout says
                std::string source = spelled(text, unit_of[f.from]);
                if (f.from == Record) source = image(at(2024, size == 8 ? 13 : 1, 15)).substr(0, f.size);
                if (f.from == Varnum) source = "\x01\x80"s;
                int blocks = f.name == "ZEMTDateCharToDate"s && format_size > 63;
                if (f.family == Parsing && f.from != WVarcharSz) blocks += size > 127;
                // A text of this format has 3 characters fewer, but in an invalid record.
                if (f.family == Formatting && (f.marks & Typed) == 0 && f.to != WVarcharSz)
                    blocks += size > 8 && format_size > 258;
                const int32_t cell = f.from == Char || f.from == WChar || f.from == Char16 ? length_of(f, source.size()) : 3;
                expect_blocks(blocks, f, {source_of(f.from, source), cell, 1000, &format.parms});
            }
        }
    }
}

}  // namespace
