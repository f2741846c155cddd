// UTF-8 to wide text and back, beside iconv, the C library's multibyte functions, utfcpp's unchecked ones and ICU's macros.
#include <iconv.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstring>
#include <cwchar>
#include <random>
#include <utf8cpp/utf8.h>

#include "contenders.h"
#include "zemt.h"

namespace {

struct Text {
    std::string_view narrow;
    std::wstring_view wide;
};

struct Room {
    std::vector<char> narrow;
    std::vector<wchar_t> wide;
};

enum class Script { Ascii, SomeTwoByte, TwoByteWords, ThreeByte, Mixed };

// A character of at most left bytes, as a script has them; some sizes are only as frequent as they are in such texts.
uint32_t make_character(Script script, size_t left, std::mt19937 &random)
{
    const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    const uint32_t chance = below(100);
    if (script == Script::SomeTwoByte && left >= 2 && chance < 10) return 0xC0 + below(0x40);
    if (script == Script::TwoByteWords) return left >= 2 && chance < 85 ? 0x410 + below(0x40) : ' ';
    if (script == Script::ThreeByte && left >= 3) return 0x4E00 + below(0x5000);
    if (script == Script::Mixed && left >= 4 && chance < 10) return 0x1F300 + below(0x300);
    if (script == Script::Mixed && left >= 3 && chance < 70) return 0x4E00 + below(0x5000);
    return 'a' + below(26);
}

Text make_text(Script script, size_t bytes, std::mt19937 &random)
{
    std::string narrow;
    std::wstring wide;
    while (narrow.size() < bytes) {
        const uint32_t character = make_character(script, bytes - narrow.size(), random);
        utf8::unchecked::append(character, std::back_inserter(narrow));
        wide.push_back(static_cast<wchar_t>(character));
    }
    return {contest::narrow_page.add(narrow), contest::wide_page.add(wide)};
}

iconv_t to_wide_handle()
{
    static const iconv_t handle = iconv_open("WCHAR_T", "UTF-8");
    return handle;
}

iconv_t to_narrow_handle()
{
    static const iconv_t handle = iconv_open("UTF-8", "WCHAR_T");
    return handle;
}

void decode_zemt(const Text &text, Room &room)
{
    int32_t count;
    Convert8To32(room.wide.data(), static_cast<int32_t>(room.wide.size()), text.narrow.data(),
                 static_cast<int32_t>(text.narrow.size()), &count);
}

void decode_iconv(const Text &text, Room &room)
{
    char *in = const_cast<char *>(text.narrow.data());
    size_t in_left = text.narrow.size();
    char *out = reinterpret_cast<char *>(room.wide.data());
    size_t out_left = room.wide.size() * sizeof(wchar_t);
    iconv(to_wide_handle(), &in, &in_left, &out, &out_left);
}

void decode_libc(const Text &text, Room &room)
{
    const char *in = text.narrow.data();
    std::mbstate_t state{};
    mbsnrtowcs(room.wide.data(), &in, text.narrow.size(), room.wide.size(), &state);
}

void decode_utfcpp(const Text &text, Room &room)
{
    utf8::unchecked::utf8to32(text.narrow.data(), text.narrow.data() + text.narrow.size(), room.wide.data());
}

void decode_icu(const Text &text, Room &room)
{
    const auto length = static_cast<int32_t>(text.narrow.size());
    wchar_t *out = room.wide.data();
    for (int32_t at = 0; at < length;) {
        UChar32 character;
        U8_NEXT(reinterpret_cast<const uint8_t *>(text.narrow.data()), at, length, character);
        *out++ = character;
    }
}

void copy_wide(const Text &text, Room &room)
{
    std::memcpy(room.wide.data(), text.wide.data(), text.wide.size() * sizeof(wchar_t));
}

void encode_zemt(const Text &text, Room &room)
{
    int32_t count;
    Convert32To8(room.narrow.data(), static_cast<int32_t>(room.narrow.size()), text.wide.data(),
                 static_cast<int32_t>(text.wide.size()), &count);
}

void encode_iconv(const Text &text, Room &room)
{
    char *in = const_cast<char *>(reinterpret_cast<const char *>(text.wide.data()));
    size_t in_left = text.wide.size() * sizeof(wchar_t);
    char *out = room.narrow.data();
    size_t out_left = room.narrow.size();
    iconv(to_narrow_handle(), &in, &in_left, &out, &out_left);
}

void encode_libc(const Text &text, Room &room)
{
    const wchar_t *in = text.wide.data();
    std::mbstate_t state{};
    wcsnrtombs(room.narrow.data(), &in, text.wide.size(), room.narrow.size(), &state);
}

void encode_utfcpp(const Text &text, Room &room)
{
    utf8::unchecked::utf32to8(text.wide.data(), text.wide.data() + text.wide.size(), room.narrow.data());
}

void encode_icu(const Text &text, Room &room)
{
    auto *const out = reinterpret_cast<uint8_t *>(room.narrow.data());
    const auto capacity = static_cast<int32_t>(room.narrow.size());
    int32_t length = 0;
    for (const wchar_t character : text.wide) {
        UBool failed = false;
        U8_APPEND(out, length, capacity, static_cast<uint32_t>(character), failed);
        if (failed) return;
    }
}

using Peers = std::vector<contest::Contender<Text, Room>>;

}  // namespace

void contest::enter_text(bool with_masks)
{
    std::mt19937 random(1);
    const auto enter_values = [&random](const std::string &work, Script script, size_t bytes, size_t source_unit,
                                        const Peers &contenders) {
        // Plain text has no branches to learn: its values stay in the cache.
        const size_t all_bytes = script == Script::Ascii ? source_bytes / 128 : source_bytes;
        std::vector<Text> texts(std::max<size_t>(1, all_bytes / (bytes * source_unit)));
        for (Text &text : texts) text = make_text(script, bytes, random);
        const Room room{std::vector<char>(bytes), std::vector<wchar_t>(bytes)};
        enter(work + " " + std::to_string(bytes), texts, room, contenders);
    };
    const struct {
        const char *name;
        Script script;
    } kinds[] = {{"10% two-byte", Script::SomeTwoByte},
                 {"two-byte words", Script::TwoByteWords},
                 {"three-byte", Script::ThreeByte},
                 {"mixed", Script::Mixed}};
    const struct {
        size_t bytes;
        const char *wanted, *wanted_without_masks;
    } sizes[] = {{8, " x0.8", " x0.7"}, {16, " x1", " x0.8"},    {32, " x1.5", " x0.8"},
                 {64, " x2", " x0.8"},  {256, " x2.5", " x0.8"}, {4096, " x3", " x0.8"}};
    for (const auto &size : sizes) {
        enter_values("UTF-8 to wide, ASCII", Script::Ascii, size.bytes, 1,
                     {{"zemt", decode_zemt}, {"iconv x4", decode_iconv}, {"mbsnrtowcs x4", decode_libc}});
        enter_values("wide to UTF-8, ASCII", Script::Ascii, size.bytes, 4,
                     {{"zemt", encode_zemt}, {"iconv x4", encode_iconv}, {"wcsnrtombs x4", encode_libc}});
        const std::string wanted = with_masks ? size.wanted : size.wanted_without_masks;
        for (const auto &kind : kinds) {
            // All characters are of three bytes, so a text of them is a little longer.
            const size_t bytes = kind.script == Script::ThreeByte ? (size.bytes + 2) / 3 * 3 : size.bytes;
            enter_values(std::string("UTF-8 to wide, ") + kind.name, kind.script, bytes, 1,
                         {{"zemt", decode_zemt},
                          {"iconv" + wanted, decode_iconv},
                          {"mbsnrtowcs" + wanted, decode_libc},
                          {"utfcpp" + wanted, decode_utfcpp},
                          {"ICU" + wanted, decode_icu}});
            enter_values(std::string("wide to UTF-8, ") + kind.name, kind.script, bytes, 4,
                         {{"zemt", encode_zemt},
                          {"iconv" + wanted, encode_iconv},
                          {"wcsnrtombs" + wanted, encode_libc},
                          {"utfcpp" + wanted, encode_utfcpp},
                          {"ICU" + wanted, encode_icu}});
        }
    }
    // One value each, as the figure is about moving memory.
    enter_values("UTF-8 to wide, ASCII", Script::Ascii, 32768, source_bytes,
                 {{"zemt", decode_zemt}, {"memcpy of the wide side x0.8", copy_wide}});
    enter_values("wide to UTF-8, ASCII", Script::Ascii, 32768, source_bytes,
                 {{"zemt", encode_zemt}, {"memcpy of the wide side x0.8", copy_wide}});
}
