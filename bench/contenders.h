// A benchmark here is a contest: the library's function and its peers do the same work on the same values, each called through
// a pointer. Names are "work/contender"; a peer's name may end in " xN": the library is to be at least N times as fast, or in
// " +N": it is to take at most N ns more.
// scripts/bench turns the results into a table of ratios.
#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "zemt.h"

namespace contest {

// The sources of a contest fill this many bytes: more than a branch predictor learns by heart.
constexpr size_t source_bytes = 4 * 1024 * 1024;

// Texts, one behind the other as they lie in a page of rows. Each is followed by its terminator.
template <typename Character>
class Page
{
public:
    std::basic_string_view<Character> add(std::basic_string_view<Character> text)
    {
        if (used_ + text.size() + 1 > sheet_size) {
            sheets_.emplace_back(new Character[sheet_size]);
            used_ = 0;
        }
        Character *const place = sheets_.back().get() + used_;
        text.copy(place, text.size());
        place[text.size()] = 0;
        used_ += text.size() + 1;
        return {place, text.size()};
    }

private:
    static constexpr size_t sheet_size = 1 << 20;
    size_t used_ = sheet_size;
    std::vector<std::unique_ptr<Character[]>> sheets_;
};

inline Page<char> narrow_page;
inline Page<wchar_t> wide_page;

template <typename Value, typename Result>
struct Contender {
    std::string name;
    void (*run)(const Value &, Result &);
};

template <typename Value, typename Result>
void enter(const std::string &work, std::vector<Value> values, const Result &room,
           std::vector<Contender<Value, Result>> contenders)
{
    for (const auto &contender : contenders) {
        const auto body = [values, room, run = contender.run](benchmark::State &state) {
            auto called = run;
            benchmark::DoNotOptimize(called);
            Result result = room;
            size_t next = 0;
            for ([[maybe_unused]] auto turn : state) {
                called(values[next], result);
                benchmark::ClobberMemory();
                next = next + 1 == values.size() ? 0 : next + 1;
            }
        };
        benchmark::RegisterBenchmark((work + "/" + contender.name).c_str(), body);
    }
}

// Takes the arguments of a conversion and does nothing.
int32_t empty_conversion(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen,
                         const ZEMTCnvParms *parms) noexcept;

// Each family enters its contests; those of text have figures of their own for processors with byte masks.
void enter_text(bool with_masks);
void enter_integers();
void enter_dates();
void enter_floats();
void enter_decimals();

}  // namespace contest
