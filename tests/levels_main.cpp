// Runs the tests once for each level of instructions that the processor has, whatever the library would choose.
#include <gtest/gtest.h>

#include "vectors/processor.h"

namespace {

#if ZEMT_X86_64
constexpr const char *names[] = {"SSE2", "AVX2", "byte masks"};

class Levels : public testing::EmptyTestEventListener
{
    void OnTestIterationStart(const testing::UnitTest &, int iteration) override
    {
        zemt::tested_level = static_cast<zemt::Level>(iteration);
        printf("With %s\n", names[iteration]);
    }
};
#endif

}  // namespace

#if ZEMT_X86_64
zemt::Level zemt::tested_level = Level::ByteMasks;
#endif

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
#if ZEMT_X86_64
    const int levels = zemt::has_byte_masks() ? 3 : zemt::has_wide_registers() ? 2 : 1;
    for (int missing = levels; missing < 3; ++missing) printf("This processor has no %s: not tested.\n", names[missing]);
    testing::UnitTest::GetInstance()->listeners().Append(new Levels);
    testing::GTEST_FLAG(repeat) = levels;
#endif
    return RUN_ALL_TESTS();
}
