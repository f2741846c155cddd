// Records and their validation, the format language, and dates and times as text.
#include "support.h"

namespace {

constexpr ZEMTTS sample = at(2024, 3, 5, 13, 7, 9, 450);

const struct Formatter {
    ZEMTConversion *format, *deliver;  // deliver: the text conversion that ends the way to another layout
    int32_t mode = 3;
} formatters[] = {
    {ZEMTCnvZEMTDateToWVarcharSz, nullptr, 1},
    {ZEMTCnvZEMTTimeToWVarcharSz, nullptr, 2},
    {ZEMTCnvZEMTTSToWVarcharSz, nullptr},
    {ZEMTCnvZEMTTSToWchar, ZEMTCnvWVarcharSzToWChar},
    {ZEMTCnvZEMTTSToWVarchar, ZEMTCnvWVarcharSzToWVarchar},
    {ZEMTCnvZEMTTSToChar, ZEMTCnvWVarcharSzToChar},
    {ZEMTCnvZEMTTSToVarchar, ZEMTCnvWVarcharSzToVarchar},
    {ZEMTCnvZEMTTSToVarcharSz, ZEMTCnvWVarcharSzToVarcharSz},
};

// As much of a record as the functions of the mode may read.
std::string readable(const ZEMTTS &record, int32_t mode)
{
    return image(record).substr(mode == 2 ? 6 : 0, mode == 3 ? 16 : 6);
}

const ZEMTTS *held(const ZEMTTS &record)
{
    return sources.hold<ZEMTTS>(readable(record, 3));
}

TEST(Formatting, ChecksTheComponentsOfTheMode)
{
    // clang-format off
    const struct { ZEMTTS record; int32_t date, time, both; } rows[] = {  // statuses by mode
        {at(2004, 2, 29, 23, 59, 59, -5), 0, 0, 0}, {at(1900, 2, 29, 24), 55, 57, 55}, {at(2100, 2, 29, 0, 60), 55, 58, 55},
        {at(2000, 2, 29, 0, 0, 0, 2000000000), 0, 0, 0}, {at(2001, 2, 29), 55, 0, 55}, {at(2001, 4, 31, 0, 0, 60), 55, 59, 55},
        {at(9999, 12, 31, 23, 59, 59), 0, 0, 0}, {at(1, 1, 1, 24, 60, 60), 0, 57, 57}, {at(0, 13, 0, 0, 60, 60), 54, 58, 54},
        {at(-1, 1, 1, 0, 0, 60), 54, 59, 54}, {at(10000, 1, 1), 54, 0, 54}, {at(1, 13, 40, 99), 56, 57, 56},
        {at(1, 0, 0), 56, 0, 56}, {at(2024, 5, 0), 55, 0, 55}, {at(2024, -1, 1, -1), 56, 57, 56}, {at(400, 2, 29), 0, 0, 0},
        {at(2024, 6, 31, 0, -1), 55, 58, 55}, {at(2024, 9, 31), 55, 0, 55}, {at(2024, 11, 31, 0, 0, -1), 55, 59, 55},
        {at(1, 1, 31), 0, 0, 0}, {at(1800, 2, 29), 55, 0, 55}, {at(1, 7, 32), 55, 0, 55},
    };
    // clang-format on
    const Format format(L"%YYYY");
    for (const auto &[record, date, time, both] : rows) {
        const int32_t wanted[] = {0, date, time, both, 0};
        for (int32_t mode = 0; mode < 5; ++mode)
            EXPECT_EQ(ZEMTValidateDateTime(held(record), mode), wanted[mode]) << image(record);
        for (const Formatter &f : formatters) {
            const Outcome got = call(f.format, readable(record, f.mode), std::nullopt, 48, 40, &format.parms);
            EXPECT_EQ(got.status, wanted[f.mode]) << image(record);
            EXPECT_TRUE(got.status == 0 || (got.value.empty() && got.out_length == kept)) << got;
        }
    }
    EXPECT_EQ(ZEMTValidateDateTime(nullptr, 3), -1);
}

// The keywords in the order of their codes, the component that each stands for, how the sample has it, and what a format's kind
// from 0 to 3 becomes.
const struct {
    std::wstring keyword;
    size_t component;
    std::wstring text;
    std::string kinds;
} keywords[] = {
    // clang-format off
    {L"YYYY", 0, L"2024", "1133"}, {L"YY", 0, L"24", "1133"}, {L"MONTH", 1, L"March", "1133"}, {L"MMM", 1, L"Mar", "1133"},
    {L"MM", 1, L"03", "1133"}, {L"M", 1, L"3", "0123"}, {L"DD", 2, L"05", "1133"}, {L"D", 2, L"5", "0123"},
    {L"HH24", 3, L"13", "2323"}, {L"HH", 3, L"01", "2323"}, {L"MI", 4, L"07", "2323"}, {L"SS", 5, L"09", "2323"},
    {L"FFFFFF", 6, L"000450", "3333"}, {L"FFFFF", 6, L"00450", "3333"}, {L"FFFF", 6, L"0450", "3333"},
    {L"FFF", 6, L"450", "3333"}, {L"FF", 6, L"450", "3333"}, {L"F", 6, L"450", "3333"}, {L"PM", 7, L"", "0123"},
    // clang-format on
};

// A list as text: its literals, <code,length,position>, $ for the end, ! for a field that should not have been written.
std::string listed(const std::wstring &format, int32_t &status, int32_t &kind)
{
    const auto *const text = sources.hold<wchar_t>(laid_out(WVarcharSz, wide(format)));
    auto *const list = destinations.offer<ZEMTFmtItem>((format.size() + 1) * sizeof(ZEMTFmtItem));
    const ZEMTFmtItem untouched = *list;
    status = ZEMTGetFormatCodes(text, list, &kind);
    destinations.found();
    std::string seen;
    for (const auto *item = list; item <= list + format.size(); ++item) {
        const auto &[ch, code, length, position] = *item;
        const bool is_code = code > 0 && code < 20, is_single = length == untouched.length && position == untouched.position;
        if (is_code) seen += "<" + std::to_string(code) + "," + std::to_string(length) + "," + std::to_string(position) + ">";
        if (code == ZEMT_FMT_LITERAL) seen += static_cast<char>(ch);
        if (code == ZEMT_FMT_END) seen += '$';
        if ((code != ZEMT_FMT_LITERAL && ch != untouched.ch) || is_code == is_single) seen += '!';
    }
    return seen;
}

TEST(Formatting, ParsesFormats)
{
    const struct {
        std::wstring format;
        int32_t status, kinds[4];  // what each kind from 0 to 3 becomes
        std::string list;
    } rows[] = {
        {L"%YYYY-%MM-%DD %HH24:%MI:%SS", 0, {3, 3, 3, 3}, "<1,4,0>-<5,2,6>-<7,2,10> <9,4,14>:<11,2,20>:<12,2,24>$"},
        {L"%MMMM%MONTHS%MON", 0, {1, 1, 3, 3}, "<4,3,0>M<3,5,5>S<6,1,12>ON$"},
        {L"%FFFFFFF%YYY%HH2%DDD%PMM", 0, {3, 3, 3, 3}, "<13,6,0>F<2,2,8>Y<10,2,12>2<7,2,16>D<19,2,20>M$"},
        {L"%MI %DD", 0, {3, 3, 3, 3}, "<11,2,0> <7,2,4>$"},
        {L"%ss", 0, {2, 3, 2, 3}, "<12,2,0>$"},
        {L"%f", 0, {3, 3, 3, 3}, "<18,1,0>$"},
        {L"%M/%D%PM", 0, {0, 1, 2, 3}, "<6,1,0>/<8,1,3><19,2,5>$"},
        {L"abc", 0, {0, 1, 2, 3}, "abc$"},
        {L"", 0, {0, 1, 2, 3}, "$"},
        {L"100%", 67, {0, 1, 2, 3}, "100"},
        {L"%DD.%MM.%AM", 67, {1, 1, 3, 3}, "<7,2,0>.<5,2,4>."},
        {L"%D%%M", 67, {0, 1, 2, 3}, "<8,1,0>"},
        {L"x%\x17F\x17F", 67, {0, 1, 2, 3}, "x"},
    };
    int32_t status = kept;
    for (const auto &row : rows) {
        for (int32_t kind = 0, i = 0; i < 4; kind = ++i) {
            EXPECT_EQ(listed(row.format, status, kind), row.list);
            EXPECT_EQ(std::pair(status, kind), std::pair(row.status, row.kinds[i])) << row.list << " from " << i;
        }
    }
    for (int32_t unknown : {-1, 4}) {
        listed(L"%YYYY", status, unknown);
        EXPECT_EQ(unknown, ZEMT_KIND_DATE);
    }
    for (size_t code = 1; code <= std::size(keywords); ++code) {
        const auto &[keyword, component, text, kinds] = keywords[code - 1];
        for (unsigned cases = 0; cases < 1u << keyword.size(); ++cases) {
            std::wstring format = L"x%" + keyword;
            for (size_t i = 2; i < format.size(); ++i) format[i] |= (cases << 2 >> i & 1) && format[i] > '9' ? ' ' : 0;
            const std::string item = "<" + std::to_string(code) + "," + std::to_string(keyword.size()) + ",1>";
            EXPECT_EQ(listed(format, status, status), "x" + item + "$");
        }
        for (size_t i = 0; i < 4; ++i) {
            auto kind = static_cast<int32_t>(i);
            listed(L'%' + keyword, status, kind);
            EXPECT_EQ(kind, kinds[i] - '0') << code;
        }
    }
    std::vector<ZEMTFmtItem> list(32769);
    EXPECT_EQ(ZEMTGetFormatCodes(std::wstring(32767, 'x').c_str(), list.data(), &status), 0);
    EXPECT_EQ(ZEMTGetFormatCodes(std::wstring(32768, 'y').c_str(), list.data(), &status), -1);
    EXPECT_TRUE(list[32767].code == ZEMT_FMT_END && list[0].ch == 'x');
    EXPECT_EQ(ZEMTGetFormatCodes(nullptr, list.data(), &status), -1);
    EXPECT_EQ(ZEMTGetFormatCodes(L"x", nullptr, &status), -1);
    EXPECT_EQ(ZEMTGetFormatCodes(L"x", list.data(), nullptr), -1);
}

// Writes into every room from 0 to one more than needed.
template <class Unit, class Write>
void write_everywhere(const std::wstring &text, Write write)
{
    const std::basic_string<Unit> whole(text.begin(), text.end());
    const std::string bytes(reinterpret_cast<const char *>(whole.c_str()), (whole.size() + 1) * sizeof(Unit));
    for (size_t size = 0; size <= whole.size() + 2; ++size) {
        Outcome got;
        auto *const dst = destinations.offer<Unit>(size * sizeof(Unit));
        got.status = write(dst, static_cast<int32_t>(size), &got.out_length);
        got.value = destinations.found();
        if (got.status != 0) got.value.clear();  // part of the text
        const Outcome wanted{0, bytes, static_cast<int32_t>(whole.size())};
        EXPECT_EQ(got, size > whole.size() ? wanted : Outcome{-1}) << PrintToString(text) << " into " << size;
    }
}

void format(const ZEMTFmtItem *list, const ZEMTTS &record, int32_t mode, const std::wstring &text)
{
    const ZEMTTS *const ts = held(record);
    write_everywhere<wchar_t>(text, [&](auto *dst, auto size, auto *length) {
        const int32_t status = ZEMTTSToWVarcharSz(dst, size, list, ts, mode);
        *length = status == 0 ? static_cast<int32_t>(text.size()) : kept;
        return status;
    });
}

TEST(Formatting, WritesTheWantedComponents)
{
    const wchar_t *const all = L"%YYYY-%MM-%DD %HH24:%MI:%SS";
    // clang-format off
    const struct { const wchar_t *format; int32_t mode; std::wstring text; ZEMTTS record = sample; } rows[] = {
        {all, 1, L"2024-03-05"}, {all, 2, L"-- 13:07:09", at(0, 0, 0, 13, 7, 9)}, {all, 3, L"2024-03-05 13:07:09"},
        {L"%MONTH %MMM %MM|%HH24.%MI.%SS", 2, L"  |13.07.09", at(0, 0, 0, 13, 7, 9)}, {L"%D.%M.%YY", 3, L"5.3.24"},
        {L"%DD %MONTH %YYYY.", 3, L"05 March 2024."}, {L"%MMM\x20AC", 3, L"Mar\x20AC"}, {L"%HH:%MI:%SS %PM", 3, L"01:07:09 PM"},
        {L"%MMM%MONTH", 3, L"SepSeptember", at(1, 9, 1)}, {L"%HH:%MI:%SS %PM", 2, L"01:07:09"}, {L"%PM %YYYY", 1, L" 2024"},
        {L"%HH %PM", 3, L"12 AM", at(1, 1, 1, 12)}, {L"%HH %PM", 3, L"00 AM", at(1, 1, 1)}, {L"%PM%HH%PM:%HH", 3, L"01PM:01"},
        {L"%HH %PM", 3, L"11 PM", at(1, 1, 1, 23)}, {L"%PM %HH:%MI:%SS", 2, L"PM 01:07:09"}, {L"%HH24:%MI %PM", 3, L"13:07   "},
        {L"%PM", 3, L"  "}, {L"%PM%HH24:%MI", 3, L"13:07"}, {L"%PM%HH24%HH", 3, L"1301"}, {L"", 3, L""}, {L"x%YYYY", 0, L"x"},
        {L"%SS.%FFF", 3, L"09.045", at(0, 0, 0, 0, 0, 9, 45)}, {L"%YY/%YYYY", 3, L"-05/-0105", at(-105, 0, 0)},
        {L"%FF|%F", 3, L"1234567|1234567", at(0, 0, 0, 0, 0, 0, 1234567)}, {L"%YYYY/%YY", 3, L"0005/05", at(5, 0, 0)},
        {L"%DD%MM%YY|", 1, L"050324"}, {L"%YYYYx", 4, L""}, {L"%YYYYx", 7, L""}, {L"%SSx", -1, L""}, {L"%YYYY/%MM/%D", 3, L"10000/100/100", at(10000, 100, 100)},
        {L"%FFFFFF|%FFFF|%FF", 3, L"1000000|1000000|1000000", at(0, 0, 0, 0, 0, 0, 1000000)},
    };
    // clang-format on
    for (const auto &row : rows) format(Format(row.format).list.data(), row.record, row.mode, row.text);
    // Each keyword completes its component, the last one wanted: the literal behind it is not written.
    const size_t canonical[] = {0, 4, 6, 8, 10, 11, 12};
    for (const auto &last : keywords) {
        for (int32_t mode = 1; mode <= 3; ++mode) {
            const size_t first = mode == 2 ? 3 : 0, end = mode == 1 ? 3 : mode == 2 ? 6 : 7;
            if (last.component < first || last.component >= end) continue;
            std::wstring format_text, text;
            for (size_t i = first; i < end; ++i) {
                if (i == last.component) continue;
                format_text += L'%' + keywords[canonical[i]].keyword;
                text += keywords[canonical[i]].text;
            }
            format(Format(format_text + L'%' + last.keyword + L'!').list.data(), sample, mode, text + last.text);
        }
    }
    EXPECT_EQ(ZEMTTSToWVarcharSz(nullptr, 9, Format(L"x").list.data(), &sample, 3), -1);
    EXPECT_EQ(ZEMTTSToWVarcharSz(destinations.offer<wchar_t>(8), 2, nullptr, &sample, 3), -1);
    EXPECT_EQ(ZEMTTSToWVarcharSz(destinations.offer<wchar_t>(8), 2, Format(L"x").list.data(), nullptr, 3), -1);
    EXPECT_EQ(ZEMTGetStringFromTS(&sample, destinations.offer<wchar_t>(27 * 4), 27, nullptr), 0);
    EXPECT_EQ(ZEMTGetStringAFromTS(&sample, destinations.offer(27), 27, nullptr), 0);
    const ZEMTFmtItem codes[] = {{'a', 20, 0, 0}, {'b', 22, 0, 0}, {'c', 0, 0, 0}, {0, 21, 0, 0}};
    format(codes, sample, 3, L"abc");
    Format cut(L"xxx");
    for (ZEMTFmtItem &item : cut.list) item.ch = item.ch == 'x' && &item != &cut.list[1] ? 'x' : L'\0';
    EXPECT_EQ(call(ZEMTCnvZEMTTSToWVarcharSz, readable(sample, 3), 0, 16, 16, &cut.parms),
              (Outcome{0, wide(L"x\0x\0"s), 1, 0}));
    for (const int month : {0, 13, -1}) {
        for (const wchar_t *const name : {L"%MONTH", L"%MMM"}) {
            wchar_t dst[20];
            EXPECT_EQ(ZEMTTSToWVarcharSz(dst, 20, Format(name).list.data(), held(at(2024, month, 5)), 3), -1) << month;
            EXPECT_EQ(ZEMTTSToWVarcharSz(dst, 20, Format(name).list.data(), held(at(2024, month, 5)), 2), 0) << month;
        }
    }
}

TEST(Formatting, WritesRandomRecordsAsThePrinterDoes)
{
    const char *const months[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};
    const Format all(L"%FFFFFF|%FFFFF|%FFFF|%FFF|%FF|%F|%YYYY|%YY|%MONTH|%MMM|%MM|%M|%DD|%D|%HH24|%HH|%PM|%MI|%SS");
    Random random(3);
    for (int i = 0; i < 300; ++i) {
        const auto below = [&](uint32_t limit) { return static_cast<int>(random() % (i % 2 == 0 ? limit : 65536)); };
        const int f = static_cast<int>(random()) >> random() % 32, month = 1 + below(12) % 12;
        const ZEMTTS t = at(below(10000), month, below(32), below(24), below(60), below(60), f);
        const char *const name = months[month - 1];
        char text[300];
        snprintf(text, 300, "%.6d|%.5d|%.4d|%.3d|%.2d|%.1d|%.4d|%.2d|%s|%.3s|%.2d|%d|%.2d|%d|%.2d|%.2d|%s|%.2d|%.2d", f, f, f,
                 f, f, f, t.year, t.year % 100, name, name, month, month, t.day, t.day, t.hour,
                 t.hour > 12 ? t.hour - 12 : t.hour, t.hour > 12 ? "PM" : "AM", t.minute, t.second);
        format(all.list.data(), t, 3, std::wstring(text, text + strlen(text)));
        snprintf(text, 300, "%.2d/%.2d/%.4d %.2d:%.2d:%.2d:%.6d", t.day, month, t.year, t.hour, t.minute, t.second, f);
        const std::wstring fixed(text, text + strlen(text));
        const ZEMTTS *const ts = held(t);
        write_everywhere<wchar_t>(fixed, [&](auto... room) { return ZEMTGetStringFromTS(ts, room...); });
        write_everywhere<char>(fixed, [&](auto... room) { return ZEMTGetStringAFromTS(ts, room...); });
    }
}

TEST(Formatting, DeliversEveryLayout)
{
    Format format(L"%YYYY\x20AC%MM");
    const Format single(L"!");
    ZEMTDateFormat roomless = format.date_format;
    ZEMTCnvParms no_room{};
    roomless.formatLength = 0;
    no_room.dateFormat = &roomless;
    for (const Formatter &f : formatters) {
        const std::string record = readable(sample, f.mode);
        const std::wstring text = f.mode == 2 ? L"\x20AC" : L"2024\x20AC\x30\x33";
        const std::string source = laid_out(WVarcharSz, wide(text));
        for (int32_t i = 0; i < 80; ++i) {
            const int32_t size = i / 2, length = static_cast<int32_t>(text.size());
            format.parms.skipTranscode = i % 2 * 256;
            const auto room = static_cast<size_t>(f.deliver == nullptr ? size / 4 * 4 : size + 6);
            Outcome wanted = size / 4 > length ? Outcome{0, source, length} : Outcome{-1};
            if (f.deliver != nullptr) wanted = call(f.deliver, source, 1, room, size, &format.parms);
            Outcome got = call(f.format, record, i, room, size, &format.parms, i % 4 < 2);
            EXPECT_EQ(std::exchange(got.source_length, wanted.source_length), i);
            if (f.deliver == nullptr && got.status != 0) got.value.clear();  // part of the text
            EXPECT_EQ(got, wanted) << &f - formatters << " into " << size;
        }
        EXPECT_EQ(call(f.format, record, 0, 50, 40, &no_room).status, f.deliver == nullptr ? 0 : -1) << &f - formatters;
        EXPECT_EQ(call(f.format, record, 0, 50, 40, &single.parms).status, 0) << &f - formatters;
        expect_refusals(f.format, record, format.parms, true);
    }
}

}  // namespace
