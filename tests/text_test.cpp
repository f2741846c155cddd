// The text conversions against one slow model of them all.
#include "support.h"

namespace {

enum Kind { Copy, Narrow, Transcode };
enum Empty { Refused, Allowed };
enum Report { Input, Taken, Whole };  // what a *srcLen of 0 receives

const struct Conversion {
    ZEMTConversion *convert;
    const char *name;
    Layout from, to;
    Kind kind;
    Empty empty;
    Report report;
    int32_t prefix = 0;     // bytes of it that dstSize counts
    bool in_bytes = false;  // *outLen of a WVarcharSz
} conversions[] = {
#define NAMED(name) name, #name
    {NAMED(ZEMTCnvCharToVarcharSz), Char, VarcharSz, Copy, Refused, Input},
    {NAMED(ZEMTCnvCharToWVarcharSz), Char, WVarcharSz, Transcode, Refused, Input},
    {NAMED(ZEMTCnvWCharToVarcharSz), WChar, VarcharSz, Narrow, Refused, Input},
    {NAMED(ZEMTCnvWCharToWVarcharSz), WChar, WVarcharSz, Copy, Refused, Input},
    {NAMED(ZEMTCnvVarcharToVarcharSz), Varchar, VarcharSz, Copy, Refused, Taken},
    {NAMED(ZEMTCnvVarcharToWVarcharSz), Varchar, WVarcharSz, Transcode, Refused, Whole},
    {NAMED(ZEMTCnvWVarcharToVarcharSz), WVarchar, VarcharSz, Narrow, Refused, Taken},
    {NAMED(ZEMTCnvWVarcharToWVarcharSz), WVarchar, WVarcharSz, Copy, Refused, Whole},
    {NAMED(ZEMTCnvVarcharSzToVarcharSz), VarcharSz, VarcharSz, Copy, Allowed, Taken},
    {NAMED(ZEMTCnvVarcharSzToWVarcharSz), VarcharSz, WVarcharSz, Transcode, Refused, Whole},
    {NAMED(ZEMTCnvWVarcharSzToWVarcharSz), WVarcharSz, WVarcharSz, Copy, Refused, Whole},
    {NAMED(ZEMTCnvWVarcharSzToWVarcharSzOut), WVarcharSz, WVarcharSz, Copy, Refused, Whole, 0, true},
    {NAMED(ZEMTCnvVarcharSzToChar), VarcharSz, Char, Copy, Allowed, Taken},
    {NAMED(ZEMTCnvWVarcharSzToChar), WVarcharSz, Char, Transcode, Allowed, Whole},
    {NAMED(ZEMTCnvVarcharSzToWChar), VarcharSz, WChar, Transcode, Refused, Whole},
    {NAMED(ZEMTCnvWVarcharSzToWChar), WVarcharSz, WChar, Copy, Refused, Whole},
    {NAMED(ZEMTCnvVarcharSzToVarchar), VarcharSz, Varchar, Copy, Allowed, Taken},
    {NAMED(ZEMTCnvWVarcharSzToVarchar), WVarcharSz, Varchar, Transcode, Allowed, Whole, 2},
    {NAMED(ZEMTCnvVarcharSzToWVarchar), VarcharSz, WVarchar, Transcode, Allowed, Whole, 2},
    {NAMED(ZEMTCnvWVarcharSzToWVarchar), WVarcharSz, WVarchar, Copy, Refused, Whole},
    {NAMED(ZEMTCnvWVarcharSzToVarcharSz), WVarcharSz, VarcharSz, Transcode, Allowed, Whole},
};

// The status, and the characters that stand in room bytes; a copy takes no more of the text than fits.
std::pair<int32_t, std::string> converted(const Conversion &c, const std::string &text, size_t room, size_t &taken)
{
    const size_t from = unit_of[c.from], to = unit_of[c.to];
    if (c.kind == Transcode) return from == 1 ? deliver(read8(text), write32, room) : deliver(read32(text), write8, room);
    taken = std::min(text.size(), room / to * from);
    std::string bytes = text.substr(0, taken);
    if (c.kind == Copy && from == 4) bytes.replace(read32(bytes).first.size() * 4, std::string::npos, "");
    if (c.kind == Copy) return {0, (bytes.resize(taken), bytes)};
    for (bytes.clear(); bytes.size() * 4 < taken; bytes += text[bytes.size() * 4]) {
        if (text.compare(bytes.size() * 4 + 1, 3, "\0\0\0"s) != 0) return {-1, bytes};
    }
    return {0, bytes};
}

Outcome model(const Conversion &c, const std::string &text, std::optional<int32_t> cell, int32_t dst_size, bool skip)
{
    const size_t whole = text.size() / unit_of[c.from] * unit_of[c.from];
    if (whole < text.size()) return model(c, text.substr(0, whole), cell, dst_size, skip);
    const auto failed = [&](int32_t status, std::string bytes = "") {
        return Outcome{status, bytes, kept, cell.value_or(kept)};
    };
    if (text.empty() && c.empty == Refused) return failed(30);
    if (c.convert == ZEMTCnvVarcharSzToVarchar && dst_size > 32767) return failed(-1);
    if (dst_size < c.prefix) return failed(28);
    const size_t unit = unit_of[c.to], limit = has_prefix[c.to] ? 32767 : 1 << 20;
    const size_t room = std::min(static_cast<size_t>(dst_size - c.prefix), limit) / unit * unit;
    const bool skipped = skip && c.kind == Transcode;
    size_t taken = text.size();
    const auto [status, bytes] = skipped ? std::pair(0, ""s) : converted(c, text, room, taken);
    if (status != 0) return failed(status, unpatterned(std::string(has_prefix[c.to] ? 2 : 0, pattern) + bytes));
    const std::string value = skipped && !has_prefix[c.to] ? "" : laid_out(c.to, bytes);
    const size_t length = has_prefix[c.to] ? value.size() : c.to == WVarcharSz && !c.in_bytes ? bytes.size() / 4 : bytes.size();
    const size_t report = c.report == Taken ? taken : text.size();
    return {0, value, static_cast<int32_t>(length), cell == 0 ? static_cast<int32_t>(report) : cell.value_or(kept)};
}

// Bytes that the caller owes: what dstSize counts, and the terminator or prefix that it does not.
size_t room_of(const Conversion &c, int32_t dst_size)
{
    const size_t unit = unit_of[c.to];
    if (has_prefix[c.to]) return dst_size < c.prefix ? 0 : 2 + static_cast<size_t>(dst_size - c.prefix) / unit * unit;
    return static_cast<size_t>(dst_size) / unit * unit + (has_end[c.to] ? unit : 0);
}

void compare(const Conversion &c, std::string text, int32_t dst_size)
{
    static size_t place = 0;
    if (c.from == VarcharSz) text = text.c_str();
    if (c.from == WVarcharSz) text.resize(read32(text).first.size() * 4);
    const std::string source = laid_out(c.from, text);
    ZEMTCnvParms convert{}, skip{};
    skip.skipTranscode = 0x10000;
    const struct {
        std::optional<int32_t> cell;
        const ZEMTCnvParms *parms;
    } ways[] = {{0, nullptr}, {5, &convert}, {0, &skip}, {std::nullopt, &convert}};
    for (size_t i = 0; i < std::size(ways) && !testing::Test::HasFailure(); ++i) {
        const auto cell = c.report == Input ? static_cast<int32_t>(text.size()) : ways[i].cell;
        EXPECT_EQ(call(c.convert, source, cell, room_of(c, dst_size), dst_size, ways[i].parms, place++),
                  model(c, text, cell, dst_size, ways[i].parms == &skip))
            << c.name << " of " << PrintToString(source.substr(0, 400)) << ", " << cell.value_or(kept) << " into " << dst_size;
    }
}

TEST(Text, FollowsTheModelInEveryRoom)
{
    // clang-format off
    const std::string bytes[] = {
        "", "a", "hello", "\xC3\xA9", "a\xE2\x82\xAC z", "\xF0\x9F\x98\x80x", "ab\xC3(cd", "ab\xE2\x82", "a\0b"s, "\0"s,
        "\0\0"s, "\xA9\xFF\xEF\xBF\xBD", "\xFD\xBF\xBF\xBF\xBF\xBF", "a\xC0\x80z",
    };
    const std::string wides[] = {
        "", wide(L"a"), wide(L"hello"), wide(L"\xE9\x20AC"), "a\0\0\0\0\0\0\0b\0\0\0"s, "\0\0\0\0"s, wide(L"ab\x80000041z"),
        wide(L"\xFF\x100"), wide(L"\x7FFFFFFF\xFFFFFFFF"), wide(L"\x1F600\xFF"), "a\0\0\0\0\0\0\0\0\1\0\0"s, "a\0\0"s,
        "a\0\0\0b\0\0"s,
    };
    // clang-format on
    for (const Conversion &c : conversions) {
        for (size_t i = 0; i < (unit_of[c.from] == 1 ? std::size(bytes) : std::size(wides)); ++i) {
            const std::string &text = unit_of[c.from] == 1 ? bytes[i] : wides[i];
            for (int32_t size = 0; size <= static_cast<int32_t>(text.size() * 4 + 7); ++size) compare(c, text, size);
        }
    }
}

TEST(Text, FollowsTheModelInEveryLength)
{
    const std::u32string scripts[] = {U"abcdefghijklmno", U"K\xF6ln \xFC", U"\x43C\x438\x440 \x442", U"\x65E5\x672C",
                                      U"\x4E2D\x31 \x1F600\x9"};
    std::vector<size_t> lengths = {129, 200, 8191, 8192, 32767, 32768, 40000};
    for (size_t length = 1; length <= 70; ++length) lengths.push_back(length);
    for (const Conversion &c : conversions) {
        const size_t from = unit_of[c.from], script_count = c.kind == Narrow ? 2 : std::size(scripts);
        for (size_t i = 0; i < lengths.size() * script_count; ++i) {
            const size_t length = lengths[i / script_count];
            const std::u32string &script = scripts[i % script_count];
            std::string text;
            for (size_t at = 0; at < length; ++at) {
                const char32_t character = script[at % script.size()];
                text += from == 1 ? write8(character) : write32(character);
            }
            if ((has_prefix[c.from] && text.size() > 32767) || (length > 8192 && i % script_count > 0)) continue;
            const auto needed =
                static_cast<int32_t>(c.kind == Transcode && from == 1 ? length * 4 : text.size() / from * unit_of[c.to]);
            for (const int32_t more : {-needed / 2, -1, 0, 1, 2, 6}) compare(c, text, needed + more);
            const size_t odd = text.size() / from * 2 / 3 * from;  // malformed, or out of range
            text.replace(odd, from, from == 1 ? "\xC3" : i % 2 == 0 ? "\x41\0\0\xC3"s : "\x41\1\0\0"s);
            compare(c, text, needed + 6);
        }
    }
}

TEST(Text, RefusesNullAndNegative)
{
    for (const Conversion &c : conversions) {
        const std::string source = "\4\0abcdef\0\0\0\0"s;
        expect_refusals(c.convert, source, {}, false);
        EXPECT_EQ(call(c.convert, source, 4, 0, -1), (Outcome{-1, "", kept, 4})) << c.name;
        if (!has_prefix[c.from] && c.report != Input) continue;
        EXPECT_EQ(call(c.convert, "\0\0"s, std::nullopt, 40, 32), (Outcome{30})) << c.name;
        for (int32_t length = -9; length < 0; ++length) {
            const std::optional<int32_t> cell = c.report == Input ? length : 0;
            EXPECT_EQ(call(c.convert, image(static_cast<int16_t>(length)) + source, cell, 40, 32),
                      (Outcome{-1, "", kept, cell.value()}))
                << c.name << " of " << length;
        }
        int32_t nothing = 0, out_length = kept;
        EXPECT_EQ(c.convert("\0\0", &nothing, nullptr, -1, &out_length, nullptr), 30) << c.name;
    }
}

}  // namespace
