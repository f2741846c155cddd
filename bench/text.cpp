// UTF-8 to wide text and back, beside iconv, the C library's multibyte functions and utfcpp's unchecked ones.
#include <iconv.h>

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

enum class Script { Ascii, SomeTwoByte, ThreeByte };

Text make_text(Script script, size_t bytes, std::mt19937 &random)
{
    const auto below = [&random](uint32_t limit) { return static_cast<uint32_t>(random() % limit); };
    std::string narrow;
    std::wstring wide;
    while (narrow.size() < bytes) {
        const size_t left = bytes - narrow.size();
        uint32_t character = 'a' + below(26);
        if (script == Script::SomeTwoByte && left >= 2 && below(10) == 0) character = 0xC0 + below(0x40);
        if (script == Script::ThreeByte && left >= 3) character = 0x4E00 + below(0x5000);
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

using Peers = std::vector<contest::Contender<Text, Room>>;

}  // namespace

void contest::enter_text()
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
    struct Kind {
        const char *name;
        Script script;
    };
    for (const size_t size : {8u, 16u, 32u, 64u, 128u, 256u}) {
        enter_values("UTF-8 to wide, ASCII", Script::Ascii, size, 1,
                     {{"zemt", decode_zemt}, {"iconv x4", decode_iconv}, {"mbsnrtowcs x4", decode_libc}});
        enter_values("wide to UTF-8, ASCII", Script::Ascii, size, 4,
                     {{"zemt", encode_zemt}, {"iconv x4", encode_iconv}, {"wcsnrtombs x4", encode_libc}});
        for (const Kind kind : {Kind{"10% two-byte", Script::SomeTwoByte}, Kind{"three-byte", Script::ThreeByte}}) {
            // All characters are of three bytes, so a text of them is a little longer.
            const size_t bytes = kind.script == Script::ThreeByte ? (size + 2) / 3 * 3 : size;
            enter_values(std::string("UTF-8 to wide, ") + kind.name, kind.script, bytes, 1,
                         {{"zemt", decode_zemt},
                          {"iconv x1", decode_iconv},
                          {"mbsnrtowcs x1", decode_libc},
                          {"utfcpp x1", decode_utfcpp}});
            enter_values(std::string("wide to UTF-8, ") + kind.name, kind.script, bytes, 4,
                         {{"zemt", encode_zemt},
                          {"iconv x1", encode_iconv},
                          {"wcsnrtombs x1", encode_libc},
                          {"utfcpp x1", encode_utfcpp}});
        }
    }
    // One value each, as the figure is about moving memory.
    enter_values("UTF-8 to wide, ASCII", Script::Ascii, 32768, source_bytes,
                 {{"zemt", decode_zemt}, {"memcpy of the wide side x0.8", copy_wide}});
    enter_values("wide to UTF-8, ASCII", Script::Ascii, 32768, source_bytes,
                 {{"zemt", encode_zemt}, {"memcpy of the wide side x0.8", copy_wide}});
}
