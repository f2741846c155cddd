// Dates and times: the format language by its longest keywords, records as lists of numbers, text as strings.
#pragma once

#include <array>
#include <vector>

#include "models/numbers.h"
#include "models/text.h"

struct Keyword {
    std::wstring_view text;
    size_t component;
    int32_t kind;
    int digits = 0;
};

// By their codes.
const Keyword keywords[] = {
    // clang-format off
    {L"", 0, 0}, {L"YYYY", 0, 1, 4}, {L"YY", 0, 1, 2}, {L"MONTH", 1, 1}, {L"MMM", 1, 1}, {L"MM", 1, 1, 2}, {L"M", 1, 1, 1},
    {L"DD", 2, 1, 2}, {L"D", 2, 1, 1}, {L"HH24", 3, 2, 2}, {L"HH", 3, 2, 2}, {L"MI", 4, 2, 2}, {L"SS", 5, 2, 2},
    {L"FFFFFF", 6, 3, 6}, {L"FFFFF", 6, 3, 5}, {L"FFFF", 6, 3, 4}, {L"FFF", 6, 3, 3}, {L"FF", 6, 3, 2}, {L"F", 6, 3, 1},
    {L"PM", 7, 2},
    // clang-format on
};
const std::wstring_view months[] = {L"January", L"February", L"March",     L"April",   L"May",      L"June",
                                    L"July",    L"August",   L"September", L"October", L"November", L"December"};

inline bool begins_with(std::wstring_view text, std::wstring_view word)
{
    const auto upper = [](wchar_t character) { return character >= 'a' && character <= 'z' ? character - 32 : character; };
    const auto same = [&](wchar_t a, wchar_t b) { return upper(a) == upper(b); };
    return text.size() >= word.size() && std::equal(word.begin(), word.end(), text.begin(), same);
}

// The list of a format as far as it can be read, its fields holding the pattern where they are not written, and what its kind
// becomes.
struct Listed {
    int32_t status = 0, kind;
    std::vector<ZEMTFmtItem> items{};
};

inline Listed listed(std::wstring_view format, int32_t kind)
{
    Listed list{0, kind};
    for (size_t at = 0; at <= format.size(); ++at) {
        auto &[ch, code, length, position] = list.items.emplace_back();
        memset(&ch, pattern, sizeof(ZEMTFmtItem));
        code = at == format.size() ? ZEMT_FMT_END : ZEMT_FMT_LITERAL;
        if (code == ZEMT_FMT_END) break;
        if (format[at] != '%') {
            ch = format[at];
            continue;
        }
        for (uint32_t i = 1; i < std::size(keywords); ++i)
            if (keywords[i].text.size() > keywords[code].text.size() && begins_with(format.substr(at + 1), keywords[i].text))
                code = i;
        const Keyword &keyword = keywords[code];
        if (code == ZEMT_FMT_LITERAL) return list.items.pop_back(), list.status = 67, list;
        position = static_cast<int32_t>(at);
        at += static_cast<size_t>(length = static_cast<int32_t>(keyword.text.size()));
        if (code != ZEMT_FMT_M && code != ZEMT_FMT_D && code != ZEMT_FMT_PM)
            list.kind = keyword.kind | (list.kind >= 1 && list.kind <= 3 ? list.kind : 0);
    }
    return list;
}

inline std::wstring format_of(const Call &c)
{
    return unwide(std::string_view(c.source).substr(0, c.source.size() - 4));
}

// *srcLen has the kind, which ends in *outLen.
inline Outcome listed_format(const Function &, const Call &c)
{
    const std::wstring format = format_of(c);
    Outcome wanted = untouched(c, (format.size() + 1) * sizeof(ZEMTFmtItem), -1);
    wanted.out_length = (c.lacks & NoOutLength) != 0 ? kept : *c.cell;
    if (c.lacks != 0 || format.size() > 32767) return wanted;
    const Listed list = listed(format, *c.cell);
    const size_t size = list.items.size() * sizeof(ZEMTFmtItem);
    wanted.value.replace(0, size, reinterpret_cast<const char *>(list.items.data()), size);
    wanted.out_length = list.kind;
    wanted.status = list.status;
    return wanted;
}

inline int32_t validated(const ZEMTTS &t, int32_t mode)
{
    const int leap = t.year % 400 == 0 || (t.year % 4 == 0 && t.year % 100 != 0);
    const int days[] = {31, 28 + leap, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (mode == 1 || mode == 3) {
        if (t.year < 1 || t.year > 9999) return 54;
        if (t.month < 1 || t.month > 12) return 56;
        if (t.day < 1 || t.day > days[t.month - 1]) return 55;
    }
    return mode < 2 || mode > 3 ? 0 : t.hour > 23 ? 57 : t.minute > 59 ? 58 : t.second > 59 ? 59 : 0;
}

// A record as much of it as stands at src; that of a time has no date.
inline ZEMTTS record_of(const Call &c, int32_t mode = 3)
{
    ZEMTTS ts{};
    memcpy(reinterpret_cast<char *>(&ts) + (mode == 2 ? 6 : 0), c.source.data(), std::min(c.source.size(), 16ul));
    return ts;
}

// dst_size has the mode.
inline Outcome validated_record(const Function &, const Call &c)
{
    return untouched(c, 0, c.lacks != 0 ? -1 : validated(record_of(c), c.dst_size));
}

// ---- Formatting

inline std::wstring padded(int64_t number, int digits)
{
    std::wstring text = std::to_wstring(std::abs(number));
    text.insert(0, static_cast<size_t>(std::max(digits - static_cast<int>(text.size()), 0)), '0');
    return number < 0 ? L'-' + text : text;
}

// The text of a record, if it has one.
inline std::optional<std::wstring> formatted(const ZEMTFmtItem *list, const ZEMTTS &t, int32_t mode)
{
    const int32_t fields[] = {t.year, t.month, t.day, t.hour, t.minute, t.second, t.fraction, 0};
    unsigned missing = mode == 1 ? 0x07 : mode == 2 ? 0x38 : mode == 3 ? 0x7F : 0;
    const unsigned writable = missing > 7 ? missing | 0x80 : missing;
    std::wstring text;
    size_t indicator = text.npos;
    const wchar_t *half = L"  ";
    for (; list->code != ZEMT_FMT_END; ++list) {
        const uint32_t code = list->code;
        const bool is_code = code > 0 && code < std::size(keywords);
        const Keyword &keyword = keywords[is_code ? code : 0];
        int32_t number = fields[keyword.component];
        if (!is_code) {
            text += list->ch;
        } else if ((writable >> keyword.component & 1) == 0) {
        } else if (code == ZEMT_FMT_PM) {
            indicator = text.size();
        } else if (keyword.digits == 0) {
            if (number < 1 || number > 12) return std::nullopt;
            text += months[number - 1].substr(0, code == ZEMT_FMT_MMM ? 3 : 9);
        } else {
            if (code == ZEMT_FMT_YY) number %= 100;
            if (code == ZEMT_FMT_HH24) indicator = text.npos;
            if (code == ZEMT_FMT_HH) half = number > 12 ? L"PM" : L"AM";
            if (code == ZEMT_FMT_HH && number > 12) number -= 12;
            text += padded(number, keyword.digits);
        }
        if (is_code) missing &= ~(1u << keyword.component);
        if (missing == 0) break;
    }
    return indicator == text.npos ? text : text.insert(indicator, half);
}

// A text and its terminator in room characters; what stands there without them is open.
inline Outcome put(const Call &c, const std::optional<std::wstring> &text, int64_t room, size_t unit, bool counts = true)
{
    Outcome wanted = untouched(c, static_cast<size_t>(std::max<int64_t>(room, 0)) * unit, -1);
    wanted.open = 0;
    if (!text || room <= static_cast<int64_t>(text->size())) return wanted;
    wanted.status = 0;
    wanted.open = std::string::npos;
    wanted.value.replace(0, (text->size() + 1) * unit, spelled(*text + L'\0', unit));
    if (counts) wanted.out_length = static_cast<int32_t>(std::min(text->find(L'\0'), text->size()));
    return wanted;
}

inline bool lacks_argument(const Call &c)
{
    return c.lacks != 0 || c.parms->dateFormat == nullptr || c.parms->dateFormat->formatCodes == nullptr;
}

// *srcLen has the mode.
inline Outcome formatted_record(const Function &, const Call &c)
{
    if (lacks_argument(c)) return untouched(c, 0, -1);
    return put(c, formatted(c.parms->dateFormat->formatCodes, record_of(c), *c.cell), c.dst_size, 4, false);
}

// Through wide text and another conversion, if there is one.
template <int32_t mode, Outcome (*delivered)(const Function &, const Call &) = nullptr>
Outcome formatted_text(const Function &f, const Call &c)
{
    Function last = f;
    last.from = WVarcharSz;
    Call call{laid_out(WVarcharSz, wide(L"-")), c.cell ? kept : c.cell, c.dst_size, c.parms};
    const auto in_place = [&](const auto &text) { return put(c, text, c.dst_size / 4, 4); };
    Outcome wanted = delivered != nullptr ? delivered(last, call) : in_place(std::nullopt);
    wanted = untouched(c, wanted.value.size(), lacks_argument(c) ? -1 : validated(record_of(c, mode), mode));
    if (wanted.status != 0) return wanted;
    const auto text = formatted(c.parms->dateFormat->formatCodes, record_of(c, mode), mode);
    if (delivered == nullptr) return in_place(text);
    wanted.status = -1;
    if (!text || c.parms->dateFormat->formatLength * int64_t{16} <= static_cast<int64_t>(text->size())) return wanted;
    call.source = laid_out(WVarcharSz, wide(text->c_str()));
    wanted = delivered(last, call);
    wanted.source_length = c.cell.value_or(kept);
    return wanted;
}

inline Outcome fixed_text(const Function &f, const Call &c)
{
    const auto t = loaded<ZEMTTS>(c.source + std::string(8, '\0'));
    char text[80];
    const int length = snprintf(text, sizeof text, "%.2d/%.2d/%.4d %.2d:%.2d:%.2d:%.6d", t.day, t.month, t.year, t.hour,
                                t.minute, t.second, t.fraction);
    return put(c, std::wstring(text, text + length), c.dst_size, unit_of[f.to], (c.lacks & NoOutLength) == 0);
}

// ---- Parsing

// Moves list over its literals; returns where the text goes on behind them, or npos where they do not stand in it.
inline size_t behind_literals(const ZEMTFmtItem *&list, std::wstring_view text)
{
    std::wstring literals;
    for (; list->code == ZEMT_FMT_LITERAL; ++list) literals += list->ch;
    literals.resize(std::min(literals.find(L'\0'), literals.size()));
    const size_t at = text.find(literals);
    return at == text.npos ? at : at + literals.size();
}

// dst receives the literals, *outLen and *srcLen how far entry and text have moved.
inline Outcome sought(const Function &, const Call &c)
{
    const ZEMTFmtItem *const list = c.parms->dateFormat->formatCodes, *entry = list;
    const size_t behind = behind_literals(entry, format_of(c));
    std::wstring literals;
    for (const ZEMTFmtItem *literal = list; literal != entry; ++literal) literals += literal->ch;
    const int32_t status = entry->code == ZEMT_FMT_END ? 6444 : behind == std::string::npos ? -1 : 0;
    return {status, wide(literals + L'\0'), static_cast<int32_t>(literals.size()),
            status == 0 ? static_cast<int32_t>(behind) : 0};
}

struct Reading {
    std::array<uint32_t, 8> fields{};
    int32_t hour = -1, half = -1;  // of the 12-hour clock: either waits for the other

    void settle()
    {
        if (half < 0) return;
        fields[3] = static_cast<uint32_t>(hour) + static_cast<uint32_t>(half);
        hour = -1;
    }

    // Reads what an entry stands for and moves text behind it; false where it cannot be read.
    bool read(const ZEMTFmtItem &entry, std::wstring_view &text)
    {
        const uint32_t code = entry.code;
        if (code >= std::size(keywords) || code == ZEMT_FMT_M || code == ZEMT_FMT_D) return code == std::size(keywords);
        const Keyword &keyword = keywords[code];
        auto width = static_cast<size_t>(keyword.digits);
        if (code == ZEMT_FMT_PM) {
            half = begins_with(text, L"PM") ? 12 : begins_with(text, L"AM") ? 0 : -1;
            if (hour >= 0) settle();
            width = 2;
        } else if (width == 0) {
            const size_t letters = code == ZEMT_FMT_MMM ? 3 : 9;
            const auto *const month = std::find_if(std::begin(months), std::end(months), [&](std::wstring_view name) {
                return begins_with(text, name.substr(0, letters));
            });
            if (month == std::end(months)) return false;
            fields[1] = static_cast<uint32_t>(month - months + 1);
            width = std::min(letters, month->size());
        } else {
            const int64_t most = int64_t{entry.length} - (code == ZEMT_FMT_HH24 ? 2 : 0);
            const auto [status, value] = field_of(text, static_cast<size_t>(std::max<int64_t>(most, 0)));
            if (status != 0) return false;
            if (code == ZEMT_FMT_HH)
                hour = static_cast<int32_t>(value), settle();
            else
                fields[keyword.component] = value;
        }
        text.remove_prefix(std::min(width, text.size()));
        return true;
    }
};

inline std::pair<int32_t, ZEMTTS> read_record(std::wstring_view text, const ZEMTFmtItem *list)
{
    Reading reading;
    int32_t status = 0;
    for (; !text.empty() && status == 0; ++list) {
        const size_t behind = behind_literals(list, text);
        if (list->code == ZEMT_FMT_END) break;
        text.remove_prefix(std::min(behind, text.size()));
        if (behind == text.npos || !reading.read(*list, text)) status = -1;
    }
    auto &fields = reading.fields;
    if (status == 0 && reading.hour != -1) fields[3] = static_cast<uint32_t>(reading.hour);
    const auto low = [&](size_t i) { return static_cast<uint16_t>(fields[i]); };
    const auto fraction = static_cast<int32_t>(fields[6]);
    return {status, {static_cast<int16_t>(low(0)), low(1), low(2), low(3), low(4), low(5), fraction, {}}};
}

inline Outcome read_any_record(const Function &, const Call &c)
{
    Outcome wanted = untouched(c, (c.lacks & NoDestination) != 0 ? 0 : sizeof(ZEMTTS), -1);
    if (lacks_argument(c) || c.parms->dateFormat->formatLength < 1) return wanted;
    const auto [status, ts] = read_record(format_of(c), c.parms->dateFormat->formatCodes);
    return {status, image(ts), kept, wanted.source_length};
}

enum Reported { Never, OnceRead, OnSuccess, AtOnce };  // when a *srcLen of 0 receives the length

// Delivered are the bytes of a ZEMTTS from first to last.
template <Reported reported, size_t first = 0, size_t last = 24>
Outcome read_date(const Function &f, const Call &c)
{
    Outcome wanted = untouched(c, last == 24 ? 24 : 16, -1);
    if (lacks_argument(c)) return wanted;
    Call in_bytes = c;
    if (f.from == WChar) in_bytes.cell = *c.cell * 4;
    const auto [refused, characters] = characters_of(f, in_bytes);
    wanted.status = refused != 0 ? -1 : 30;
    if (refused != 0 || (characters.empty() && (f.from != WVarcharSz || c.cell == 0))) return wanted;
    std::wstring text = unit_of[f.from] == 4 ? unwide(characters) : L"";
    if (unit_of[f.from] == 1 && c.parms->skipTranscode == 0) {
        const auto [points, status] = read8(characters);
        wanted.status = status;
        if (status != 0) return wanted;
        text.assign(points.begin(), points.end());
    }
    const size_t length = f.from == WVarcharSz ? text.size()
                          : has_prefix[f.from] ? loaded<uint16_t>(c.source)
                                               : characters.size();
    if (reported == OnceRead || reported == AtOnce) report(wanted, c, length);
    wanted.status = -1;
    if (c.parms->dateFormat->formatLength < 1) return wanted;
    const auto [status, ts] = read_record(text.c_str(), c.parms->dateFormat->formatCodes);
    wanted.status = status != 0 ? status : validated(ts, 3);
    if (wanted.status != 0) return wanted;
    wanted.value = image(ts).substr(first, last - first);
    wanted.value.resize(last == 24 ? 24 : 16);
    wanted.out_length = static_cast<int32_t>(wanted.value.size());
    if (reported == OnSuccess) report(wanted, c, length);
    return wanted;
}

// The format's text is where callerData points, and in the record on entry.
inline Outcome read_date_alone(const Function &f, const Call &c)
{
    const auto *const format = loaded<const wchar_t *>({reinterpret_cast<const char *>(c.parms->callerData), 16});
    Outcome wanted = untouched(c, sizeof(ZEMTDate), -1);
    wanted.value.replace(8, 8, image(format));
    if (format == nullptr) return wanted;
    const Listed list = listed(format, 0);
    wanted.status = list.status;
    if (list.status != 0) return wanted;
    ZEMTDateFormat date_format{{}, list.items.data(), static_cast<int32_t>(wcslen(format)), 0};
    ZEMTCnvParms parms{{}, 0, 0, 0, 0, &date_format};
    Call call = c;
    call.parms = &parms;
    const Outcome read = read_date<Never>(f, call);
    wanted.status = read.status;
    if (read.status == 0) wanted.value.replace(0, 6, read.value, 0, 6);
    return wanted;
}
