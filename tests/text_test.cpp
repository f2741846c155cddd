// The text conversions and trimming.
#include "expect.h"
#include "models/codec.h"

namespace {

// Calls in every state of the parameters.
void compare(const Function &f, const std::string &text, int32_t dst_size)
{
    ZEMTCnvParms convert{}, skip{};
    skip.skipTranscode = 0x10000;
    for (const ZEMTCnvParms *const parms : std::initializer_list<const ZEMTCnvParms *>{nullptr, &convert, &skip})
        if (!testing::Test::HasFailure()) expect(f, text, dst_size, parms);
}

TEST(Text, FollowsTheModelInEveryLength)
{
    const std::u32string scripts[] = {U"abcdefghijklmno", U"K\xF6ln \xFC", U"\x43C\x438\x440 \x442", U"\x65E5\x672C",
                                      U"\x4E2D\x31 \x1F600\x9"};
    std::vector<size_t> lengths = {129, 200, 8191, 8192, 32767, 32768, 40000};
    for (size_t length = 1; length <= 70; ++length) lengths.push_back(length);
    for (const Function &f : functions_of(Text)) {
        const size_t from = unit_of[f.from];
        for (size_t i = 0; i < lengths.size() * std::size(scripts); ++i) {
            const size_t length = lengths[i / std::size(scripts)];
            const std::u32string &script = scripts[i % std::size(scripts)];
            std::string text;
            for (size_t at = 0; at < length; ++at) {
                const char32_t character = script[at % script.size()];
                text += from == 1 ? write8(character) : write32(character);
            }
            if ((has_prefix[f.from] && text.size() > 32767) || (length > 8192 && &script != scripts)) continue;
            const auto needed = static_cast<int32_t>(text.size() / from * unit_of[f.to]);
            for (const int32_t more : {-needed / 2, -1, 0, 1, 2, 6}) compare(f, text, needed + more);
            compare(f, text, static_cast<int32_t>(length * 4));
            const Call endless{text, 0, static_cast<int32_t>(text.size())};  // a copy needs no terminator
            EXPECT_EQ(f.from == VarcharSz && from == unit_of[f.to] ? examine(f, endless, f.model(f, endless)) : "", "");
            const size_t odd = text.size() / from * 2 / 3 * from;  // malformed, or out of range
            text.replace(odd, from, from == 1 ? "\xC3" : i % 2 == 0 ? "\x41\0\0\xC3"s : "\0\1\0\0"s);
            compare(f, text, needed + 6);
        }
    }
}

}  // namespace
