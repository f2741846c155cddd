// The UTF-8 codec against a slow one that takes a text character by character.
#include "support.h"

namespace {

CodePoints read16(std::string_view text)
{
    std::u32string values;
    std::u16string units(text.size() / 2 + 1, u'\0');
    memcpy(units.data(), text.data(), units.size() * 2 - 2);
    for (size_t at = 0; units[at] != 0; ++at) {
        const char32_t unit = units[at], next = units[at + 1];
        const bool is_pair = unit >> 10 == 0xD800 >> 10 && next >> 10 == 0xDC00 >> 10;
        if (!is_pair && unit >> 11 == 0xD800 >> 11) return {values, 22};
        values += is_pair ? 0x10000 + unit % 0x400 * 0x400 + next % 0x400 : unit;
        at += is_pair;
    }
    return {values, 0};
}

std::string write16(char32_t value)
{
    if (value > 0x10FFFF) return {};
    if (value < 0x10000) return image(static_cast<uint16_t>(value));
    return image(static_cast<uint16_t>(0xD7C0 + (value >> 10))) + image(static_cast<uint16_t>(0xDC00 + value % 0x400));
}

template <auto convert, class Out, class In>
int32_t untyped(void *dst, int32_t capacity, const void *src, int32_t length, int32_t *count)
{
    return convert(static_cast<Out *>(dst), capacity, static_cast<const In *>(src), length, count);
}

// What the routines for one character make of a text.
int32_t encode_singly(void *dst, int32_t capacity, const void *src, int32_t length, int32_t *count)
{
    auto *at = static_cast<char *>(dst);
    int32_t status = *count = 0;
    for (const auto *unit = static_cast<const uint32_t *>(src); length > 0 && *unit != 0; ++unit, --length) {
        if (ConvertTo8(&at, capacity - *count, *unit, &status, count) == 0) break;
        EXPECT_EQ(at, dst == nullptr ? nullptr : static_cast<char *>(dst) + *count);
    }
    return status;
}

int32_t decode_singly(void *dst, int32_t capacity, const void *src, int32_t length, int32_t *count)
{
    const auto *at = static_cast<const char *>(src), *const end = at + length;
    for (*count = 0; at < end; ++*count) {
        const char *const start = at;
        uint32_t value = 99;
        int32_t status = kept, taken = kept;
        const bool done = ConvertFrom8(&value, &at, static_cast<int32_t>(end - at), &status, &taken) == 1;
        EXPECT_EQ(status, done ? kept : 28);
        EXPECT_EQ(at - start, done ? std::max(taken, 1) : 1);
        EXPECT_TRUE(done ? taken != -1 || value == static_cast<uint8_t>(*start) : value == 0 && taken > end - start) << value;
        if (!done || taken == -1 || value == 0) return done ? 0 : status;
        if (dst != nullptr && *count == capacity) return 28;
        if (dst != nullptr) static_cast<uint32_t *>(dst)[*count] = value;
    }
    return 0;
}

const struct Converter {
    const char *name;
    int32_t (*convert)(void *, int32_t, const void *, int32_t, int32_t *);
    size_t in, out;  // bytes a unit
    CodePoints (*read)(std::string_view);
    std::string (*write)(char32_t), (*source)(char32_t);
} converters[] = {
    {"Convert8To32", untyped<Convert8To32, wchar_t, char>, 1, 4, read8, write32, write8},
    {"Convert8To16", untyped<Convert8To16, uint16_t, char>, 1, 2, read8, write16, write8},
    {"Convert32To8", untyped<Convert32To8, char, wchar_t>, 4, 1, read32, write8, write32},
    {"Convert16To8", untyped<Convert16To8, char, uint16_t>, 2, 1, read16, write8, write16},
    {"ConvertFrom8", decode_singly, 1, 4, read8, write32, write8},
    {"ConvertTo8", encode_singly, 4, 1, read32, write8, write32},
};

void expect(const Converter &c, const std::string &source, std::optional<size_t> capacity, Outcome wanted)
{
    static size_t place = 0;  // any for bytes, aligned for units
    Outcome got;
    ++place;
    const void *src = sources.hold(source, c.in == 1 ? place : place & 4);
    void *dst = destinations.offer(capacity.value_or(0) * c.out, c.out == 1 ? place : place & 4);
    got.status = c.convert(capacity ? dst : nullptr, static_cast<int32_t>(capacity.value_or(~0u)), src,
                           static_cast<int32_t>(source.size() / c.in), &got.out_length);
    got.value = destinations.found();
    wanted.value = capacity ? unpatterned(wanted.value) : "";
    EXPECT_EQ(got, wanted) << c.name << " of " << PrintToString(source) << " into " << static_cast<int>(capacity.value_or(~0u));
}

// Counts, then converts into rooms from nothing to more than enough; of long texts into those near the size needed.
void compare(const Converter &c, const std::string &source)
{
    if (testing::Test::HasFailure()) return;
    const CodePoints text = c.read(source);
    const auto outcome = [&](size_t capacity) {
        const auto [status, bytes] = deliver(text, c.write, capacity * c.out);
        return Outcome{status, bytes, static_cast<int32_t>(bytes.size() / c.out), kept};
    };
    const Outcome all = outcome(1 << 20);
    const auto needed = static_cast<size_t>(all.out_length);
    expect(c, source, std::nullopt, all);
    expect(c, source, needed / 2, outcome(needed / 2));
    for (size_t room = needed < 20 ? 0 : needed - 5; room < needed + 2; ++room) expect(c, source, room, outcome(room));
}

TEST(Codec, ConvertsWhatIsWritten)
{
    const auto &[to32, to16, from32, from16, singly_to32, singly_from32] = converters;
    expect(from32, wide(L"\xFFFF\x10000\x7FFFFFFF"), 13, {0, "\xEF\xBF\xBF\xF0\x90\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", 13});
    expect(from32, wide(L"a\x80000000"), 1, {22, "a", 1});
    expect(from32, wide(L"a\xE9"), 2, {28, "a", 1});
    expect(from32, wide(L"a\xE9"), std::nullopt, {0, "", 3});
    expect(from16, "\x3D\xD8\0\xDE"s, 4, {0, "\xF0\x9F\x98\x80", 4});
    expect(from16, "\x3D\xD8\x41\0"s, 0, {22, "", 0});
    expect(to32, "?\xEF\xBF\xBD\xA9\xC0\x80x"s, 3, {0, wide(L"??\xA9"), 3});
    expect(to32, "a\xC3(b"s, 1, {0, wide(L"a"), 1});
    expect(to32, "a\xE2("s, 1, {28, wide(L"a"), 1});
    expect(to16, "\xF0\x9F\x98\x80"s, 2, {0, "\x3D\xD8\0\xDE"s, 2});
    expect(to16, "\xED\xA0\x80\xF4\x90\x80\x80"s, 1, {22, "\0\xD8"s, 1});
    alignas(4) const char text[] = "a\0\0\0";
    wchar_t room[1];
    for (const Converter &c : {to32, to16, from32, from16}) {
        EXPECT_EQ(c.convert(room, 4, text, 1, nullptr), 0) << c.name;
        EXPECT_EQ(c.convert(room, -1, text, 1, nullptr), 28) << c.name;
        EXPECT_EQ(c.convert(room, 0, text, -1, nullptr), 0) << c.name;
    }
    const char *at = text;
    uint32_t value;
    int32_t status = 0, consumed = 0;
    EXPECT_TRUE(ConvertFrom8(&value, &at, 0, &status, &consumed) == 0 && status == 28 && consumed == 1);
}

// One unusual sequence, whole and cut off, around every multiple of 16 among characters of one length.
TEST(Codec, ComparesUnusualSequencesAtEveryPlace)
{
    // clang-format off
    const std::vector<std::string> odd8 = {
        "\xC3(", "\xE2\x82(", "\xE2(\xAC", "\xF0\x9F\x98(", "\xFC\x84\x80\x80\x80(", "\xA9", "\xFE", "\xFF", "\xC0\x80",
        "\xC0\xAF", "\xE0\x80\xAF", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xC3\xC3\xA9", "\xE2\x82\xC3\xA9",
        "\xC3\xE2\x82\xAC", "\xE2\xC3\xA9", "\xE2\xE2\x82\xAC",
    };
    // clang-format on
    for (const Converter &c : converters) {
        std::vector<std::string> odd = odd8;
        if (c.in == 2) odd = {"\x3D\xD8\x41\0"s, "\x3D\xD8\x3D\xD8\0\xDE"s};
        if (c.in == 4) odd = {"\x3D\xD8\0\0\0\xDE\0\0"s};
        for (const char32_t value : {0x80u, 0x800u, 0xD800u, 0xDFFFu, 0xFFFDu, 0x10000u, 0x200000u, 0x4000000u, 1u << 31, 0u}) {
            odd.insert(odd.end(), {c.source(value), c.source(value - 1)});
        }
        for (size_t i = 0; i < 4 * 68; ++i) {
            if (i % 68 % 16 > 3 && i % 68 % 16 < 13) continue;
            const std::string filler = c.source(U"a\xE9\x20AC\x10FFFF"[i / 68]);
            std::string before, after;
            while (before.size() < i % 68 * filler.size()) before += filler;
            while (after.size() < 17 * filler.size()) after += filler;
            for (const std::string &sequence : odd) {
                for (size_t cut = c.in; cut <= sequence.size(); cut += c.in) compare(c, before + sequence.substr(0, cut));
                compare(c, before + sequence + after);
            }
        }
    }
}

// Five scripts, then characters of every size; a character is one of the first two below its limit, or one of the others.
char32_t random_character(Random &random, size_t script)
{
    const char32_t other = 0x4E00 + random() % 0x5000, chance = random() % 20;
    switch (script) {
    case 0: return ' ' + random() % 95;
    case 1: return chance < 2 ? 0xC0 + random() % 0x40 : 'a' + random() % 26;
    case 2: return chance < 3 ? ' ' : 0x400 + random() % 0x100;
    case 3: return other;
    case 4: return chance < 2 ? 0x1F300 + random() % 0x300 : chance < 8 ? '0' + random() % 10 : other;
    default: return random() >> random() % 32 | 1;
    }
}

TEST(Codec, ComparesTextsOfEveryScriptAndLength)
{
    Random random(20240305);
    const std::string odd[] = {"\xA9", "\xFE\xFF", "\xC0\xAF",  "\xED\xA0\x80", "\xEF\xBF\xBD",
                               "\0"s,  "\xC3(",    "\xE2\x82z", "\xC3\xC3"};
    for (const Converter &c : converters) {
        for (size_t i = 0; i < 301 * 6 * 2; ++i) {
            const size_t length = i / 12, script = i % 6;
            std::string text;
            while (text.size() < length * c.in) text += c.source(random_character(random, script));
            if (i / 6 % 2 != 0 && length > 0) {  // damaged: something odd, or a byte that is any other
                const size_t at = random() % length * c.in;
                if (c.in == 1 && random() % 2 == 0)
                    text.replace(at, 1, odd[random() % std::size(odd)]);
                else
                    text[at + random() % c.in] = static_cast<char>(random());
            }
            compare(c, text.substr(0, script == 3 ? text.size() : length * c.in));
        }
    }
}

}  // namespace
