// A call of any function between fences, and the comparison of what it leaves with what a model wants: what the tests and the
// fuzz target share.
#pragma once

#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "zemt.h"

using namespace std::string_literals;

constexpr int32_t kept = -77;                             // in a length cell that the call must leave alone
constexpr char pattern = '\xB7', other_pattern = '\x48';  // in memory that the call must leave alone
constexpr int32_t strange = 0x1234;                       // in errno

template <class Value>
std::string image(const Value &value)
{
    return {reinterpret_cast<const char *>(&value), sizeof value};
}

template <class Value>
Value loaded(std::string_view bytes, size_t at = 0)
{
    Value value;
    memcpy(&value, bytes.data() + at, sizeof value);
    return value;
}

inline std::string wide(std::wstring_view text)
{
    return {reinterpret_cast<const char *>(text.data()), text.size() * sizeof(wchar_t)};
}

inline std::wstring unwide(std::string_view bytes)
{
    std::wstring text(bytes.size() / sizeof(wchar_t), L'\0');
    memcpy(text.data(), bytes.data(), text.size() * sizeof(wchar_t));
    return text;
}

// The text in characters of unit bytes; 8-bit characters lose their upper bits.
template <class Text>
std::string spelled(const Text &text, size_t unit)
{
    std::string bytes;
    for (const auto character : text) bytes += image(static_cast<wchar_t>(character)).substr(0, unit);
    return bytes;
}

enum Layout { Char, Varchar, VarcharSz, WChar, WVarchar, WVarcharSz, Char16, Record, Packed, Varnum, List };
constexpr size_t unit_of[] = {1, 1, 1, 4, 4, 4, 2, 1, 1, 1, 1};
constexpr bool has_prefix[] = {false, true, false, false, true, false, false, false, false, false, false};
constexpr bool has_end[] = {false, false, true, false, false, true, false, false, false, false, false};

// A value of the layout that holds the characters.
inline std::string laid_out(Layout layout, const std::string &characters)
{
    const std::string prefix = image(static_cast<int16_t>(characters.size())).substr(0, has_prefix[layout] ? 2 : 0);
    return prefix + characters + std::string(has_end[layout] ? unit_of[layout] : 0, '\0');
}

// The same of those before the first 0 where the layout has an end.
inline std::string source_of(Layout layout, std::string characters)
{
    for (size_t size = 0; has_end[layout] && size < characters.size(); size += unit_of[layout])
        if (characters.compare(size, unit_of[layout], "\0\0\0\0", unit_of[layout]) == 0) characters.resize(size);
    return laid_out(layout, characters);
}

// What a call may lack (a null pointer), and how else a function differs from others.
constexpr unsigned NoSource = 1, NoDestination = 2, NoOutLength = 4, NoParms = 8, CellNeeded = 16, Typed = 32, Changes = 64;

struct Call {
    std::string source;             // all bytes at src
    std::optional<int32_t> cell{};  // in *srcLen
    int32_t dst_size = 0;
    const ZEMTCnvParms *parms = nullptr;
    unsigned lacks = 0;
    size_t place = 0;
};

// What a call has returned and left behind: of a model, what it should, with anything from open on.
struct Outcome {
    int32_t status = 0;
    std::string value{};
    int32_t out_length = kept, source_length = kept;
    size_t open = std::string::npos;
    bool operator==(const Outcome &) const = default;
};

enum Family { Codec, Text, Trimming, Integers, Fields, Floating, Decimals, Digits, Formats, Formatting, Parsing };

struct Function {
    const char *name;
    ZEMTConversion *convert;  // those of another form behind an adapter
    Outcome (*model)(const Function &, const Call &);
    Family family;
    Layout from, to;
    unsigned marks = 0;
    size_t size = 0;  // bytes of a source that is a number or record
};

// What a call leaves that does nothing.
inline Outcome untouched(const Call &c, size_t room, int32_t status)
{
    return {status, std::string(room, pattern), kept, c.cell.value_or(kept)};
}

inline void report(Outcome &wanted, const Call &c, size_t length)
{
    if (c.cell == 0) wanted.source_length = static_cast<int32_t>(length);
}

// Memory between two inaccessible pages, at low addresses where they are free: what is calculated in front of it by a negative
// size wraps around.
class Fence
{
public:
    Fence()
    {
        static size_t low = 0;
        void *const memory = mmap(reinterpret_cast<void *>(low += 2 * capacity), capacity + 2 * page, PROT_NONE,
                                  MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        begin_ = static_cast<char *>(memory) + page;
        if (mprotect(begin_, capacity, PROT_READ | PROT_WRITE) != 0) std::abort();
    }

    // Room of size bytes under a pattern. Places 0 to 3 are as many bytes before the fence behind it, 4 to 7 as many behind
    // the fence in front.
    char *offer(size_t size, size_t place = 0, char fill = pattern)
    {
        place %= 8;
        room_ = {begin_ + (place < 4 ? capacity - size - place : place - 4), size};
        const auto [first, last] = surroundings();
        memset(first, fill, static_cast<size_t>(last - first));
        return room_.data();
    }

    // Whether a call has written nothing around the room offered before it.
    bool holds(char fill = pattern) const
    {
        const auto [first, last] = surroundings();
        const auto is_fill = [fill](char byte) { return byte == fill; };
        return std::all_of(first, room_.data(), is_fill) && std::all_of(room_.data() + room_.size(), last, is_fill);
    }

private:
    static constexpr size_t capacity = 1 << 20, page = 4096, margin = 64;
    std::pair<char *, char *> surroundings() const
    {
        char *const at = room_.data();
        const auto before = std::min<size_t>(margin, static_cast<size_t>(at - begin_));
        const auto behind = std::min<size_t>(margin, static_cast<size_t>(begin_ + capacity - at) - room_.size());
        return {at - before, at + room_.size() + behind};
    }

    char *begin_ = nullptr;
    std::span<char> room_;
};

inline Fence sources, destinations;

// Calls with source and destination at their fences; an Outcome whose open is 0 tells of a write elsewhere or in errno.
inline Outcome perform(const Function &f, const Call &c, size_t room, char fill)
{
    // Typed pointers are aligned, but for those to bytes.
    const auto place_of = [&](Layout layout) {
        return (f.marks & Typed) != 0 && layout != Char && layout != VarcharSz ? c.place & 4 : c.place;
    };
    Outcome got{0, "", kept, c.cell.value_or(kept)};
    char *const src = sources.offer(c.source.size(), place_of(f.from), fill);
    memcpy(src, c.source.data(), c.source.size());
    char *const dst = destinations.offer(room, place_of(f.to), fill);
    errno = strange;
    got.status =
        f.convert((c.lacks & NoSource) != 0 ? nullptr : src, c.cell ? &got.source_length : nullptr,
                  (c.lacks & NoDestination) != 0 ? nullptr : dst, c.dst_size,
                  (c.lacks & NoOutLength) != 0 ? nullptr : &got.out_length, (c.lacks & NoParms) != 0 ? nullptr : c.parms);
    const bool source_kept = (f.marks & Changes) != 0 || c.source == std::string_view(src, c.source.size());
    if (errno != strange || !source_kept || !sources.holds(fill) || !destinations.holds(fill)) got.open = 0;
    got.value.assign(dst, room);
    return got;
}

inline std::string shown(std::string_view bytes)
{
    std::string text;
    for (const char byte : bytes) {
        char code[8];
        snprintf(code, sizeof code, byte >= ' ' && byte <= '~' && byte != '\\' ? "%c" : "\\x%02X", static_cast<uint8_t>(byte));
        text += code;
    }
    return text;
}

inline std::string shown(const Outcome &o)
{
    return "{" + std::to_string(o.status) + ", " + shown(o.value) + ", " + std::to_string(o.out_length) + ", " +
           std::to_string(o.source_length) + (o.open == 0 ? ", and elsewhere}" : "}");
}

// What is wrong with a call that should do what its model says; empty if nothing is. It is made twice, over different bytes.
inline std::string examine(const Function &f, const Call &c, Outcome wanted)
{
    const Outcome got = perform(f, c, wanted.value.size(), pattern);
    Outcome again = perform(f, c, wanted.value.size(), other_pattern);
    for (size_t i = 0; i < got.value.size(); ++i)
        if (again.value[i] == other_pattern && got.value[i] == pattern) again.value[i] = pattern;
    if (wanted.open < wanted.value.size()) wanted.value.replace(wanted.open, std::string::npos, got.value, wanted.open);
    wanted.open = std::string::npos;
    if (got == wanted && again == wanted) return "";
    return f.name + " of "s + shown(c.source) + ", " + std::to_string(c.cell.value_or(kept)) + " into " +
           std::to_string(c.dst_size) + " without " + std::to_string(c.lacks) + ":\n" + shown(got) + "\n" + shown(again) +
           ", not\n" + shown(wanted);
}

extern std::span<const Function> functions;

// Those of one family, which stand together.
inline std::span<const Function> functions_of(Family family)
{
    const auto first = std::ranges::find(functions, family, &Function::family);
    return {first, std::find_if(first, functions.end(), [family](const Function &f) { return f.family != family; })};
}

// A length as *srcLen has it: in bytes between texts, in characters otherwise.
inline int32_t length_of(const Function &f, size_t bytes)
{
    return static_cast<int32_t>(bytes / (f.family == Text ? 1 : unit_of[f.from]));
}
