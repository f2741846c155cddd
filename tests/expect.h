// Calls that have to do what their models want.
#pragma once

#include <gtest/gtest.h>

#include <random>

#include "calls.h"

using Random = std::independent_bits_engine<std::mt19937, 32, uint32_t>;

// Every call has another address and, where it has a choice, another state of the length cell.
inline void expect(const Function &f, const std::string &characters, int32_t dst_size = 0, const ZEMTCnvParms *parms = nullptr,
                   std::optional<int32_t> cell = std::nullopt, unsigned lacks = 0)
{
    static size_t count = 0;
    const std::optional<int32_t> cells[] = {0, 7, std::nullopt};
    const bool is_counted = f.from == Char || f.from == WChar || f.from == Char16;
    ++count;
    if (!cell) cell = is_counted ? length_of(f, characters.size()) : cells[count / 8 % ((f.marks & CellNeeded) != 0 ? 2 : 3)];
    const Call c{source_of(f.from, characters), cell, dst_size, parms, lacks, count};
    EXPECT_EQ(examine(f, c, f.model(f, c)), "");
}

template <class... More>
void expect(const Function &f, const std::wstring &text, More... more)
{
    expect(f, spelled(text, unit_of[f.from]), more...);
}

template <class Text, class... More>
void expect(const char *name, const Text &text, More... more)
{
    expect(*std::ranges::find(functions, std::string_view(name), &Function::name), text, more...);
}
