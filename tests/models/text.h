// Text to text, and trimming in place by the same steps on strings.
#pragma once

#include "models/codec.h"

enum Kind { Copy, Narrow, Transcode };
enum Empty { Refused, Allowed };
enum Report { Input, Taken, Whole };  // what a *srcLen of 0 receives

// The status, and the characters that stand in room bytes; a copy takes no more of the text than fits.
inline std::pair<int32_t, std::string> converted(const Function &f, Kind kind, const std::string &text, size_t room,
                                                 size_t &taken)
{
    const size_t from = unit_of[f.from], to = unit_of[f.to];
    if (kind == Transcode) return from == 1 ? deliver(read8(text), write32, room) : deliver(read32(text), write8, room);
    taken = std::min(text.size(), room / to * from);
    std::string bytes = text.substr(0, taken);
    if (kind == Copy && from == 4) bytes.resize(read32(bytes).first.size() * 4);
    if (kind == Copy) return {0, (bytes.resize(taken), bytes)};
    for (bytes.clear(); bytes.size() * 4 < taken; bytes += text[bytes.size() * 4]) {
        if (text.compare(bytes.size() * 4 + 1, 3, "\0\0\0"s) != 0) return {-1, bytes};
    }
    return {0, bytes};
}

// The characters of a source and the status of a length that is none.
inline std::pair<int32_t, std::string> characters_of(const Function &f, const Call &c)
{
    const size_t unit = unit_of[f.from];
    const bool ends = has_end[f.from] && c.source.ends_with(std::string(unit, '\0'));
    int32_t length = static_cast<int32_t>(c.source.size() - (ends ? unit : 0));
    if (has_prefix[f.from]) length = loaded<int16_t>(c.source);
    if (f.from == Char || f.from == WChar) length = c.cell.value_or(0);
    if (length < 0) return {-1, ""};
    return {0, c.source.substr(has_prefix[f.from] ? 2 : 0, static_cast<size_t>(length) / unit * unit)};
}

// Prefix: bytes of it that dstSize counts. Most: of dstSize.
template <Kind kind, Empty empty, Report reports, int32_t prefix = 0, bool out_in_bytes = false, int32_t most = INT32_MAX>
Outcome converted_text(const Function &f, const Call &c)
{
    // Bytes that the caller owes: what dstSize counts, and the terminator or prefix that it does not.
    const size_t unit = unit_of[f.to], counted = static_cast<size_t>(std::max(c.dst_size, prefix) - prefix) / unit * unit;
    const bool is_prefixed = has_prefix[f.to], has_destination = (c.lacks & NoDestination) == 0;
    Outcome wanted = untouched(c, c.dst_size < prefix ? 0 : counted + (is_prefixed ? 2 : has_end[f.to] ? unit : 0), -1);
    const bool empty_by_length = reports == Input && c.cell.value_or(0) >= 0 && c.cell.value_or(0) < int(unit_of[f.from]);
    if ((c.lacks & NoSource) != 0 && !empty_by_length) return wanted;
    const auto [refused, text] = empty_by_length ? std::pair(0, ""s) : characters_of(f, c);
    if (refused == 0 && text.empty() && empty == Refused) wanted.status = 30;
    if (refused != 0 || wanted.status == 30 || !has_destination || c.dst_size < 0 || c.dst_size > most) return wanted;
    wanted.status = 28;
    if (c.dst_size < prefix) return wanted;
    const bool skipped = kind == Transcode && c.parms != nullptr && c.parms->skipTranscode != 0;
    size_t taken = text.size();
    const size_t room = std::min<size_t>(counted, is_prefixed ? 32767 / unit * unit : INT32_MAX);
    const auto [status, bytes] = skipped ? std::pair(0, ""s) : converted(f, kind, text, room, taken);
    wanted.status = status;
    wanted.value.replace(is_prefixed ? 2 : 0, bytes.size(), bytes);
    if (status != 0) return wanted;
    const std::string value = skipped && !is_prefixed ? "" : laid_out(f.to, bytes);
    wanted.value.replace(0, value.size(), value);
    wanted.out_length = static_cast<int32_t>(is_prefixed ? value.size() : bytes.size());
    if (f.to == WVarcharSz && !out_in_bytes) wanted.out_length /= 4;
    if (reports != Input) report(wanted, c, reports == Taken ? taken : text.size());
    return wanted;
}

// *srcLen has the length, the low bytes of dst_size the flags. What stands behind a terminator is open.
template <class Unit>
Outcome trimmed(const Function &, const Call &c)
{
    Outcome wanted = untouched(c, c.source.size(), 0);
    std::basic_string<Unit> left(static_cast<size_t>(std::max(*c.cell, 0)), Unit{0});
    memcpy(left.data(), c.source.data(), left.size() * sizeof(Unit));
    const bool leading = (c.dst_size & 255) == 1, trailing = (c.dst_size >> 8 & 255) == 1;
    wanted.value = c.source;
    wanted.out_length = 0;
    if (leading) left.erase(0, left.find_first_not_of(Unit{' '}));
    if (leading && left.empty()) return wanted;
    if (trailing) left.resize(left.find_last_not_of(Unit{' '}) + 1);
    wanted.out_length = static_cast<int32_t>(left.size());
    left.resize(left.size() + trailing, Unit{0});
    wanted.value.replace(0, left.size() * sizeof(Unit), reinterpret_cast<const char *>(left.data()),
                         left.size() * sizeof(Unit));
    if (trailing) wanted.open = left.size() * sizeof(Unit);
    return wanted;
}

inline Outcome without_blanks(const Function &, const Call &c)
{
    Outcome wanted = untouched(c, c.source.size(), 0);
    std::wstring text = unwide(c.source).substr(0, static_cast<size_t>(std::max(*c.cell, 0))).c_str();
    std::erase_if(text, [](wchar_t character) { return character == ' ' || character == '\t'; });
    wanted.out_length = static_cast<int32_t>(text.size());
    wanted.open = (text.size() + 1) * 4;
    wanted.value.replace(0, wanted.open, wide(text += L'\0'));
    return wanted;
}
