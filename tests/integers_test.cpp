// Signed integers against the C library's digits and arithmetic modulo 2^64.
#include "support.h"

namespace {

// A length cell of 0 is filled; any other, and none, stay.
const std::optional<int32_t> cells[] = {0, 7, std::nullopt};

template <auto format, class Unit>
int32_t format_short(const void *src, int32_t *, void *dst, int32_t, int32_t *out_length, const ZEMTCnvParms *) noexcept
{
    int32_t value;
    memcpy(&value, src, sizeof value);
    return format(value, static_cast<Unit *>(dst), out_length);
}

const struct Writer {
    ZEMTConversion *convert;
    int32_t size;       // bytes of the value
    size_t unit, room;  // bytes of a character; characters that the caller owes
    bool is_short = false;
} writers[] = {
    {ZEMTCnvTinyIntToWVarcharSz, 1, 4, 5},
    {ZEMTCnvSmallIntToWVarcharSz, 2, 4, 7},
    {ZEMTCnvIntToWVarcharSz1, 4, 4, 12},
    {ZEMTCnvLongLongToWVarcharSz, 8, 4, 21},
    {format_short<ZEMTCnvIntToVarcharSz, char>, 4, 1, 12, true},
    {format_short<ZEMTCnvIntToWVarcharSz, wchar_t>, 4, 4, 11, true},
};

const struct Reader {
    ZEMTConversion *convert;
    int32_t size;
} readers[] = {{ZEMTCnvWVarcharSzToTinyInt, 1},
               {ZEMTCnvWVarcharSzToSmallInt, 2},
               {ZEMTCnvWVarcharSzToInt1, 4},
               {ZEMTCnvWVarcharSzToLongLong, 8}};

// What stands behind the terminator is open, so long as it stands in the room.
void write(const Writer &w, int64_t value, size_t i)
{
    const auto cell = w.is_short ? std::nullopt : cells[i % 3];
    std::string text;
    for (const char digit : value == 0 ? "" : std::to_string(value)) text += image<int32_t>(digit).substr(0, w.unit);
    Outcome wanted{0, text + std::string(w.unit, '\0'), static_cast<int32_t>(text.size() / w.unit),
                   cell == 0 ? w.size : cell.value_or(kept)};
    if (w.is_short && w.unit == 4 && value <= 0) wanted = {27, ""};
    const std::string source = image(value).substr(0, static_cast<size_t>(w.size));
    Outcome got = call(w.convert, source, cell, w.room * w.unit, 1, nullptr, w.is_short ? 0 : i % 2);
    if (wanted.status == 0) got.value.resize(wanted.value.size(), pattern);
    EXPECT_EQ(got, wanted) << w.size << " bytes, " << value;
}

void read(const Reader &r, const std::wstring &text, size_t i)
{
    const auto cell = cells[i % 3];
    const bool negative = text[0] == '-';
    uint64_t value = 0;
    for (const wchar_t digit : text.substr(negative)) value = value * 10 + static_cast<uint64_t>(digit - '0');
    Outcome wanted{-1, "", kept, cell.value_or(kept)};
    if (text.find_first_not_of(L"0123456789", negative) == text.npos) {
        const std::string bytes = image(negative ? -value : value).substr(0, static_cast<size_t>(r.size));
        wanted = {0, unpatterned(bytes), r.size, cell == 0 ? 4 * static_cast<int32_t>(text.size()) : wanted.source_length};
    }
    const std::string source = laid_out(WVarcharSz, wide(text));
    EXPECT_EQ(call(r.convert, source, cell, static_cast<size_t>(r.size), -1, nullptr, i % 2), wanted)
        << r.size << PrintToString(text);
}

TEST(Integers, WriteAndReadEveryShortValueAndEveryBoundary)
{
    std::mt19937_64 random(7);
    std::vector<int64_t> values = {INT32_MIN, INT32_MAX, INT64_MIN, INT64_MAX};
    for (int64_t value = INT16_MIN; value <= INT16_MAX; ++value) values.push_back(value);
    for (unsigned i = 0; i < 6400; ++i) values.push_back(static_cast<int64_t>(random()) >> i % 64);
    for (int64_t power = 1; power < INT64_MAX / 10; power *= 10)
        values.insert(values.end(), {power, -power, power * 10 - 1, 1 - power * 10});
    const auto narrowed = [](int64_t value, int32_t size) {
        return static_cast<int64_t>(static_cast<uint64_t>(value) << (64 - 8 * size)) >> (64 - 8 * size);
    };
    for (size_t i = 0; i < values.size(); ++i) {
        for (const Writer &w : writers) write(w, narrowed(values[i], w.size), i);
        for (const Reader &r : readers) read(r, std::to_wstring(values[i]), i);
    }
}

TEST(Integers, ReadTextOfAnyLengthAndRefuseEveryOtherCharacter)
{
    Random random(8);
    std::vector<std::wstring> texts = {L"", L"-", L"-0", L"007", L"--1", L"300", L"-300", L"18446744073709551615"};
    for (size_t i = 0; i < 61 * 60; ++i) {
        std::wstring text(i % 2, '-');
        while (text.size() < i / 61 + 1) text += static_cast<wchar_t>('0' + random() % 10);
        texts.push_back(text);
        text[i % 61 % text.size()] = L" +-/:a.\x660\x130\x80000030\x10000"[random() % 11];
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
