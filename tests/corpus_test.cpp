// The fuzz target's corpus, every function with every input, and changes of both: a test, or without ZEMT_CORPUS a program for
// a sanitizer that GoogleTest was not built with.
#include <cstdio>
#include <random>

#include "calls.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);  // ends the program where something is wrong

namespace {

void vary_input(const char *path)
{
    char seed[1024];
    FILE *const file = fopen(path, "rb");
    if (file == nullptr) std::abort();
    const size_t size = fread(seed, 1, sizeof seed, file);
    fclose(file);
    std::mt19937 random(61);
    for (unsigned i = 0; i < 12 * functions.size(); ++i) {
        std::string input(seed, size);
        if (i % 2 == 0) input[0] = static_cast<char>(i / 2);
        for (auto changes = i < functions.size() ? 0 : random() % 5; changes > 0; --changes) {
            const size_t place = random() % (random() % 2 == 0 ? std::min<size_t>(input.size(), 8) : input.size());
            const char bytes[] = {static_cast<char>(random()), '\0', '\1', ' ', '-', '%', '0', '9', '\x7F', '\x80', '\xFF'};
            input.replace(place, random() % 8 == 0 ? 0 : 1, random() % 8 == 0 ? 2 : 1,
                          bytes[random() % 2 == 0 ? 0 : random() % std::size(bytes)]);
        }
        LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.data()), input.size());
    }
}

}  // namespace

#ifdef ZEMT_CORPUS
#include <gtest/gtest.h>

#include <filesystem>

TEST(Corpus, HoldsWithAnyChange)
{
    for (const auto &entry : std::filesystem::directory_iterator(ZEMT_CORPUS)) vary_input(entry.path().c_str());
}
#else
int main(int, char **path)
{
    while (*++path != nullptr) vary_input(*path);
}
#endif
