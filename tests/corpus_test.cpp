// The fuzz target's corpus, every function with every input, and changes of both.
#include <filesystem>
#include <fstream>

#include "expect.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);  // ends the program where something is wrong

namespace {

TEST(Corpus, HoldsWithAnyChange)
{
    Random random(61);
    for (const auto &entry : std::filesystem::directory_iterator(ZEMT_CORPUS)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string seed(std::istreambuf_iterator<char>(file), {});
        for (unsigned i = 0; i < 4 * functions.size(); ++i) {
            std::string input = seed;
            if (i % 2 == 0) input[0] = static_cast<char>(i / 2);
            for (uint32_t changes = i < functions.size() ? 0 : random() % 5; changes > 0; --changes) {
                const size_t place = random() % (random() % 2 == 0 ? std::min<size_t>(input.size(), 8) : input.size());
                const char bytes[] = {static_cast<char>(random()), '\0', '\1', ' ', '-', '%', '0', '9', '\x7F', '\x80', '\xFF'};
                input.replace(place, random() % 8 == 0 ? 0 : 1, random() % 8 == 0 ? 2 : 1,
                              bytes[random() % 2 == 0 ? 0 : random() % std::size(bytes)]);
            }
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
        }
    }
}

}  // namespace
