// The UTF-8 codec against a slow one.
#include "expect.h"
#include "models/codec.h"

namespace {

std::string encoded(const Function &f, char32_t value)
{
    return f.from == Char ? write8(value) : f.from == WChar ? write32(value) : write16(value);
}

// Counts, then converts into rooms from nothing to more than enough; of long texts into those near the size needed. Negative sizes
// are nothing.
void compare(const Function &f, const std::string &source, int32_t near = 5)
{
    if (testing::Test::HasFailure()) return;
    expect(f, source, -1, nullptr, {}, NoDestination);
    expect(f, source, INT32_MIN / 8);
    expect(f, source, 8, nullptr, INT32_MIN / 8);
    const int32_t needed = f.model(f, {source, length_of(f, source.size()), 0, nullptr, NoDestination}).out_length;
    for (int32_t room = needed < 4 * near ? 0 : needed - near; room < needed + 2; ++room) expect(f, source, room);
}

// Sequences of four bytes or units of every class, at all places of a window, among characters of one length.
TEST(Codec, ComparesSequencesAtEveryPlace)
{
    const std::string bytes[] = {"\0"s,  "a",    "\xE0\x80\x80", "\x80", "\x82", "\xBF", "\xC0", "\xC3", "\xE0", "\xE2",
                                 "\xED", "\xEF", "\xF0",         "\xF4", "\xF7", "\xF8", "\xFD", "\xFE", "\xFF", "\xBD"};
    const char32_t units[] = {0,      'a',    0x7F,   0x80,    0x7FF,    0x800,    0xD7FF,   0xD800,   0xDBFF,    0xDC00,
                              0xDFFF, 0xFFFD, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0x1FFFFF, 0x200000, 0x3FFFFFF, 0x7FFFFFFF};
    constexpr size_t classes = std::size(units), places = 70, fillers = 5;
    for (const Function &f : functions_of(Codec)) {
        for (size_t i = 0; i < classes * classes * classes * classes * places * fillers; i += 9973) {
            std::string text, filler = encoded(f, U"a\xE9\x20AC\x10FFFF\xD7FF"[i % fillers]);
            size_t rest = i / fillers;
            for (size_t place = rest % places; place > 0; --place) text += filler;
            rest /= places;
            for (int item = 0; item < 4; ++item, rest /= classes)
                text += f.from == Char ? bytes[rest % classes] : encoded(f, units[rest % classes]);
            compare(f, text, 2);
            for (int more = 0; more < 17; ++more) text += filler;
            compare(f, text, 2);
        }
    }
}

// Mostly of one script.
char32_t random_character(Random &random, size_t script)
{
    constexpr struct {
        char32_t first, count;
    } scripts[] = {{' ', 95}, {0xC0, 0x40}, {0x400, 0x100}, {0x4E00, 0x5000}, {0x1F300, 0x300}, {1, 0xFFFFFFFF}};
    const auto &[first, count] = scripts[random() % 8 == 0 ? random() % 6 : script];
    return first + (random() >> (script == 5 ? random() % 32 : 0)) % count;
}

TEST(Codec, ComparesTextsOfEveryScriptAndLength)
{
    Random random(20240305);
    const std::string odd[] = {"\xA9", "\xFE\xFF", "\xC0\xAF",  "\xED\xA0\x80", "\xEF\xBF\xBD",
                               "\0"s,  "\xC3(",    "\xE2\x82z", "\xC3\xC3"};
    for (const Function &f : functions_of(Codec)) {
        const size_t unit = unit_of[f.from];
        for (size_t i = 0; i < 301 * 6 * 2; ++i) {
            const size_t length = i / 12, script = i % 6;
            std::string text;
            while (text.size() < length * unit) text += encoded(f, random_character(random, script));
            if (i / 6 % 2 != 0 && length > 0) {  // damaged: something odd, or a byte that is any other
                const size_t at = random() % length * unit;
                if (random() % 2 == 0)
                    text.replace(at, unit, unit == 1 ? odd[random() % std::size(odd)] : std::string(unit, '\0'));
                else
                    text[at + random() % unit] = static_cast<char>(random());
            }
            compare(f, text.substr(0, script == 3 ? text.size() : length * unit));
        }
    }
}

}  // namespace
