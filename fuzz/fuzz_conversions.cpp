// Calls every function with any arguments that a caller may pass: what comes back has to be what the tests' models want.
#include <cstdio>

#include "calls.h"
#include "format.h"

namespace {

// What there is of an input; zeros behind it.
struct Bytes {
    std::string_view rest;

    uint8_t byte() { return static_cast<uint8_t>(take(1)[0]); }
    int32_t number() { return loaded<int32_t>(take(4)); }
    std::string take(size_t size)
    {
        std::string bytes(rest.substr(0, size));
        rest.remove_prefix(bytes.size());
        bytes.resize(size);
        return bytes;
    }
};

// Each byte as a character of unit bytes.
std::string widened(std::string_view bytes, size_t unit)
{
    return spelled(std::span(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size()), unit);
}

// Gives a format one entry that no text has, or less.
void bend(Format &format, Bytes &input, bool may_lack)
{
    const size_t place = input.byte();
    if (place + 1 < format.list.size())
        format.list[place] = {input.byte() % 4 == 0 ? L'\0' : L'-', input.byte() % 24u, input.number(), 0};
    if (place == 253) format.date_format.formatLength = input.number() % 4;
    if (place == 254 && may_lack) format.date_format.formatCodes = nullptr;
    if (place == 255 && may_lack) format.parms.dateFormat = nullptr;
    if (place == 255) format.set_text(nullptr);
}

// A source as its layout has it, and a length that it holds.
void fill_source(const Function &f, Call &c, std::string_view bytes, uint8_t choice, uint8_t length)
{
    const size_t unit = unit_of[f.from];
    std::string characters(bytes);
    if (unit > 1 && choice % 4 > 0) characters = widened(bytes, unit);
    for (char &byte : characters) byte = f.family == Digits ? static_cast<char>(static_cast<uint8_t>(byte) % 100) : byte;
    if (f.family == Digits) c.dst_size = (c.dst_size & 0xFFFF) | "+-+-\xAB\xADx "[choice % 8] << 16;
    if (f.family != Text || has_end[f.from]) characters.resize(characters.size() / unit * unit);
    if (f.from == Record) characters.resize(f.size);
    if (f.from == Packed) characters.resize(static_cast<size_t>(ZEMT_SIZE_DEC_KEST(std::max(c.parms->precision, 0))), '\x09');
    if (f.from == Varnum) characters.resize(1 + std::min<size_t>(static_cast<uint8_t>((characters += '\0')[0]), 21), '\x05');
    c.source = source_of(f.from, characters);
    if (has_prefix[f.from] && length > 127) {
        const auto shorter = static_cast<int16_t>(static_cast<int8_t>(length) % static_cast<int>(characters.size() + 1));
        memcpy(c.source.data(), &shorter, 2);
    }
    if (f.from != Char && f.from != WChar && f.from != Char16) return;
    const int32_t whole = length_of(f, characters.size());
    c.cell = length < 128 ? whole : (static_cast<int8_t>(length) % (whole + 1));
    if (f.family == Text && length == 255) c.cell = std::nullopt;
    if (f.family == Digits) c.cell = c.source.empty() && length > 127 ? -length : whole;
    if (f.family == Trimming) c.source.resize((static_cast<size_t>(std::max(*c.cell, 0)) + 1) * unit);
    if (f.family != Fields) return;
    c.cell = length % (whole + 1);
    if (choice % 2 == 0) c.source.resize((static_cast<size_t>(whole) + 1) * unit);
    if (choice % 2 != 0) c.dst_size = std::min(c.dst_size, whole - *c.cell);
}

// Makes a call; returns the characters or the record that it delivers, if it succeeds.
std::optional<std::string> delivered(const Function &f, const Call &c)
{
    const Outcome outcome = f.model(f, c);
    if (const std::string complaint = examine(f, c, outcome); !complaint.empty()) {
        fprintf(stderr, "%s\n", complaint.c_str());
        std::abort();
    }
    const bool is_whole = has_end[f.to] || outcome.out_length == kept;
    const size_t prefix = has_prefix[f.to] ? 2 : 0, unit = f.family == Codec ? unit_of[f.to] : 1;
    const size_t size = is_whole ? outcome.value.size() : static_cast<size_t>(outcome.out_length) * unit;
    if (outcome.status != 0 || size < prefix || size > outcome.value.size()) return std::nullopt;
    return outcome.value.substr(prefix, size - prefix);
}

std::optional<std::string> passed_on(const Function &f, const std::string &value, const ZEMTCnvParms *parms)
{
    if (f.from == Record && f.size != value.size()) return std::nullopt;
    return delivered(f, {source_of(f.from, value), length_of(f, value.size()), 256, parms});
}

// Whether what a call has delivered comes back from there and back: numbers are written as they are read. A VARNUM that has
// been cut off may end with zeros, which go.
bool is_to_return(const Function &f, const std::string &value)
{
    return (f.family == Integers && (f.marks & Typed) == 0) || (f.family == Codec && f.from == Char) || f.to == Packed ||
           f.from == Packed || (f.to == Varnum && value.size() + 1 < ZEMT_SIZE_ORA_VARNUM) ||
           f.name == "ZEMTCnvWVarcharSzToDbl"s;
}

// Goes back by one of the functions that lead there, and once more the same way.
void check_return(const Function &f, const std::string &value, const ZEMTCnvParms *parms, unsigned passed_over)
{
    for (const Function &g : functions) {
        const bool leads_back = g.from == f.to && g.to == f.from;
        if (!leads_back || (g.family != f.family && g.family + f.family != Formatting + Parsing) || passed_over-- > 0) continue;
        const auto back = passed_on(g, value, parms), again = back ? passed_on(f, *back, parms) : back;
        if (!again || *again == value || !is_to_return(f, value)) return;
        fprintf(stderr, "%s: %s comes back as %s\n", f.name, shown(value).c_str(), shown(*again).c_str());
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Bytes input{{reinterpret_cast<const char *>(data), std::min<size_t>(size, 1024)}};
    const Function &f = functions[input.byte() % functions.size()];
    const auto given = loaded<int16_t>(input.take(2));
    const uint8_t state = input.byte(), missing = input.byte(), choice = input.byte(), length = input.byte();
    const std::string text = f.family >= Formatting ? input.take(input.byte() % 64).c_str() : "";
    Format format(unwide(widened(text, 4)));
    if (f.family >= Formatting) bend(format, input, (f.marks & NoParms) != 0);
    format.parms.precision = static_cast<int8_t>(missing) % 100;
    format.parms.skipTranscode = choice / 4 == 1 ? 1 << choice % 4 * 8 : 0;
    const int32_t extremes[] = {INT32_MIN, INT16_MAX, INT16_MAX + 1, -1};
    Call c{"", state / 8 % 5, given / 256 == -128 ? extremes[given & 3] : given / 32, &format.parms, 0, state};
    if ((f.marks & CellNeeded) == 0 && c.cell > 2) c.cell = std::nullopt;
    if (missing % 16 == 0) c.lacks = f.marks & (1u << missing / 16 % 4);
    if (f.family == Text && choice % 2 == 0) c.parms = nullptr;
    fill_source(f, c, input.rest, choice, length);
    const auto value = delivered(f, c);
    if (value && f.family != Trimming && choice < 64) check_return(f, *value, c.parms, choice % 4);
    return 0;
}
