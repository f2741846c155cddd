// Integers against the C library's digits and arithmetic modulo 2^64.
#include "support.h"

namespace {

template <auto format, class Unit>
int32_t format_short(const void *src, int32_t *, void *dst, int32_t, int32_t *out_length, const ZEMTCnvParms *) noexcept
{
    int32_t value;
    memcpy(&value, src, sizeof value);
    return format(value, static_cast<Unit *>(dst), out_length);
}

const struct Writer {
    ZEMTConversion *convert;
    bool is_signed;
    int32_t size;       // bytes of the value
    size_t unit, room;  // bytes of a character; characters that the caller owes
    bool is_short = false;
} writers[] = {
    // clang-format off
    {ZEMTCnvTinyIntToWVarcharSz, true, 1, 4, ZEMT_ROOM_TINY_INT}, {ZEMTCnvSmallIntToWVarcharSz, true, 2, 4, ZEMT_ROOM_SMALL_INT},
    {ZEMTCnvIntToWVarcharSz1, true, 4, 4, ZEMT_ROOM_INT}, {ZEMTCnvLongLongToWVarcharSz, true, 8, 4, ZEMT_ROOM_LONG_LONG},
    {ZEMTCnvTinyUIntToWVarcharSz, false, 1, 4, ZEMT_ROOM_TINY_UINT}, {ZEMTCnvUIntToWVarcharSz, false, 4, 4, ZEMT_ROOM_UINT},
    {ZEMTCnvSmallUIntToWVarcharSz, false, 2, 4, ZEMT_ROOM_SMALL_UINT}, {ZEMTCnvUIntToVarcharSz, false, 4, 1, ZEMT_ROOM_UINT},
    {ZEMTCnvULONGLONGToWVarcharSz, false, 8, 4, ZEMT_ROOM_ULONGLONG}, {ZEMTCnvULONGLONGToVarcharSz, false, 8, 1, ZEMT_ROOM_ULONGLONG},
    {format_short<ZEMTCnvIntToVarcharSz, char>, true, 4, 1, ZEMT_ROOM_INT, true},
    {format_short<ZEMTCnvIntToWVarcharSz, wchar_t>, true, 4, 4, ZEMT_ROOM_UINT, true},
    // clang-format on
};

const struct Reader {
    ZEMTConversion *convert;
    bool is_signed;
    int32_t size;
    size_t unit = 4;
} readers[] = {
    // clang-format off
    {ZEMTCnvWVarcharSzToTinyInt, true, 1}, {ZEMTCnvWVarcharSzToSmallInt, true, 2}, {ZEMTCnvWVarcharSzToInt1, true, 4},
    {ZEMTCnvWVarcharSzToLongLong, true, 8}, {ZEMTCnvWVarcharSzToTinyUInt, false, 1}, {ZEMTCnvWVarcharSzToSmallUInt, false, 2},
    {ZEMTCnvWVarcharSzToUInt, false, 4}, {ZEMTCnvWVarcharSzToULONGLONG, false, 8},
    {ZEMTCnvVarcharSzToUInt, false, 4, 1}, {ZEMTCnvVarcharSzToULONGLONG, false, 8, 1},
    // clang-format on
};

// The number in the lowest bytes of value.
std::wstring decimal(int64_t value, int32_t size, bool is_signed)
{
    const int unused = 64 - 8 * size;
    const uint64_t bits = static_cast<uint64_t>(value) << unused;
    return is_signed ? std::to_wstring(static_cast<int64_t>(bits) >> unused) : std::to_wstring(bits >> unused);
}

void write(const Writer &w, int64_t value, size_t i)
{
    SCOPED_TRACE(&w - writers);
    const std::wstring number = decimal(value, w.size, w.is_signed);
    const std::string text = spelled(number == L"0" ? L"" : number, w.unit);
    Outcome wanted{0, text + std::string(w.unit, '\0'), static_cast<int32_t>(text.size() / w.unit), w.size};
    if (w.is_short && w.unit == 4 && number[0] < '1') wanted = {27, ""};
    const std::string source = image(value).substr(0, static_cast<size_t>(w.size));
    expect_call(w.convert, source, w.room * w.unit, 1, nullptr, w.is_short ? 2 : i, wanted, Behind::Open);
}

void read(const Reader &r, const std::wstring &text, size_t i)
{
    SCOPED_TRACE(&r - readers);
    std::string source = spelled(text, r.unit);
    if (r.unit == 1) source.resize(std::min(source.size(), source.find('\0')));
    const bool negative = r.is_signed && text[0] == '-';
    bool refused = false;
    uint64_t value = 0;
    for (size_t at = negative * r.unit; at < source.size(); at += r.unit) {
        uint32_t digit = 0;
        memcpy(&digit, &source[at], r.unit);
        refused |= digit < '0' || digit > '9';
        value = value * 10 + (digit - '0');
    }
    const std::string bytes = image(negative ? -value : value).substr(0, static_cast<size_t>(r.size));
    const Outcome wanted{0, bytes, r.size, static_cast<int32_t>(source.size())};
    expect_call(r.convert, source + std::string(r.unit, '\0'), bytes.size(), -1, nullptr, i,
                refused ? Outcome{-1, "", kept, 0} : wanted);
}

TEST(Integers, WriteAndReadEveryShortValueAndEveryBoundary)
{
    std::mt19937_64 random(7);
    std::vector<int64_t> values = {INT32_MIN, INT32_MAX, UINT32_MAX, 1L << 32, INT64_MIN, INT64_MAX};
    for (unsigned i = 0; i < 6400; ++i) values.push_back(static_cast<int64_t>(random()) >> i % 64);
    for (int64_t power = 1; power < INT64_MAX / 10; power *= 10)
        values.insert(values.end(), {power, -power, power * 10 - 1, 1 - power * 10});
    const size_t any = values.size();
    for (int64_t value = INT16_MIN; value <= UINT16_MAX; ++value) values.push_back(value);
    for (size_t i = 0; i < values.size(); ++i) {
        for (const Writer &w : writers)
            if (i < any || w.size <= 2) write(w, values[i], i);
        for (const Reader &r : readers)
            if (i < any || r.size <= 2) read(r, decimal(values[i], 8, r.is_signed), i);
    }
}

TEST(Integers, ReadTextOfAnyLengthAndRefuseEveryOtherCharacter)
{
    Random random(8);
    std::vector<std::wstring> texts = {L"", L"-", L"--1", L"300", L"-300", L"65536", L"4294967296", L"18446744073709551616"};
    for (size_t i = 0; i < 61 * 60; ++i) {
        std::wstring text(i % 2, '-');
        while (text.size() < i / 61 + 1) text += static_cast<wchar_t>('0' + random() % 10);
        texts.push_back(text);
        text[i % 61 % text.size()] = L" +-/:a.\xB0\x660\x130\x80000030\x10000"[random() % 12];
        texts.push_back(text);
    }
    for (const Reader &r : readers) {
        for (size_t i = 0; i < 6 * texts.size(); ++i) read(r, texts[i / 6], i);
    }
}

template <class Unit>
void read_field(int32_t (*reader)(const Unit *, int32_t *, int32_t, int32_t) noexcept, const std::string &text, uint32_t start,
                int32_t count)
{
    const auto size = static_cast<size_t>(std::max(count, 0));
    int32_t minuses = 0, status = 0, got = kept;
    uint32_t value = 0;
    for (const char character : text.substr(start, size)) {
        minuses += character == '-';
        if (character > '9' || character < '-' || minuses > 1) status = -1;
        if (status == 0 && character != '-') value = value * 10 + static_cast<uint32_t>(character - '0');
    }
    std::basic_string<Unit> held(text.begin(), text.end());
    held.resize(std::min(held.size() + 1, start + size));
    const auto *src = sources.hold<Unit>({reinterpret_cast<const char *>(held.data()), held.size() * sizeof(Unit)});
    const int32_t result = reader(src, &got, static_cast<int32_t>(start), count);
    EXPECT_EQ(std::pair(result, got), std::pair(status, static_cast<int32_t>(minuses > 0 && status == 0 ? -value : value)))
        << text << " at " << start << ", " << count;
}

TEST(Integers, ReadFields)
{
    Random random(9);
    for (int i = 0; i < 40000; ++i) {
        const char *const texts[] = {"2024-01-15", "4x", "-12", "1-2",        "12-", "--1", "1-2-",
                                     "-12x",       "",   "-",   "4294967297", " 1",  "9:"};
        std::string text = texts[random() % std::size(texts)];
        for (uint32_t more = random() % 12; more > 0; --more)
            text += "0123456789012345678901234567890123456789-x"[random() % 42];
        const uint32_t start = random() % static_cast<uint32_t>(text.size() + 1);
        const auto count = static_cast<int32_t>(random() % 14) - 2;
        read_field<char>(ZEMTCnvVarcharSzToInt, text, start, count);
        read_field<wchar_t>(ZEMTCnvWVarcharSzToInt, text, start, count);
    }
}

}  // namespace
