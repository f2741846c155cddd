// Runs the tests without the instructions of any processor, and once for each level of those that this one has, whatever the
// library would choose.
#include <gtest/gtest.h>

#include "calls.h"
#include "vectors/processor.h"

extern std::span<const Function> plain_functions;

namespace {

#if ZEMT_X86_64
constexpr const char *names[] = {"plain code", "SSE2", "AVX2", "byte masks"};
const std::span<const Function> functions_by_level = functions;

class Levels : public testing::EmptyTestEventListener
{
    void OnTestIterationStart(const testing::UnitTest &, int iteration) override
    {
        functions = iteration == 0 ? plain_functions : functions_by_level;
        zemt::tested_level = static_cast<zemt::Level>(std::max(iteration - 1, 0));
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
    const int levels = zemt::has_byte_masks() ? 4 : zemt::has_wide_registers() ? 3 : 2;
    for (int missing = levels; missing < 4; ++missing) printf("This processor has no %s: not tested.\n", names[missing]);
    testing::UnitTest::GetInstance()->listeners().Append(new Levels);
    testing::GTEST_FLAG(repeat) = levels;
#endif
    return RUN_ALL_TESTS();
}
