// Writes random records of a layout: random_records LAYOUT SEED COUNT [hostile]. Hostile ones have any bytes in some slots.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>

#include "encodings.h"
#include "layout.h"

namespace recordcsv {
namespace {

using Random = std::mt19937_64;

uint64_t below(Random &random, uint64_t limit)
{
    return random() % limit;
}

template <typename T>
void put(char *slot, T value)
{
    std::memcpy(slot, &value, sizeof value);
}

// Words of Latin, Cyrillic and Han letters, digits, and the characters that CSV minds.
std::vector<wchar_t> random_text(Random &random, std::size_t length, bool only_ascii)
{
    constexpr uint32_t scripts[][2] = {{'a', 26}, {0x410, 64}, {0x4E00, 0x5000}, {'0', 10}, {0x1F600, 64}};
    const auto &script = scripts[only_ascii ? 0 : std::array{0, 0, 0, 1, 2, 3, 4}[below(random, 7)]];
    std::vector<wchar_t> text(length);
    for (wchar_t &character : text) {
        const uint64_t kind = below(random, 40);
        const auto special = static_cast<unsigned char>("  ,\"-."[kind % 6]);
        character = static_cast<wchar_t>(kind < 6 ? special : script[0] + below(random, script[1]));
    }
    while (!text.empty() && text.back() == L' ') text.pop_back();
    return text;
}

void put_text(const Column &column, Random &random, char *slot)
{
    const bool wide = column.type->unit != 1;
    const auto limit = static_cast<std::size_t>(column.length);
    std::vector<wchar_t> text = random_text(random, below(random, limit + 1), !column.encoding.empty());
    if (column.trim) text.erase(text.begin(), std::ranges::find_if(text, [](wchar_t character) { return character != L' '; }));
    std::string bytes(text.size() * 4, '\0');
    int32_t size = 0;
    if (wide) {
        if (!text.empty()) std::memcpy(bytes.data(), text.data(), bytes.size());
    } else if (!column.encoding.empty()) {
        size = Encoding(column.encoding).encode(text.data(), static_cast<int32_t>(text.size()), bytes.data(), bytes.size());
        bytes.resize(static_cast<std::size_t>(size));
    } else {
        const auto room = static_cast<int32_t>(std::min(bytes.size(), limit));
        Convert32To8(bytes.data(), room, text.data(), static_cast<int32_t>(text.size()), &size);
        bytes.resize(static_cast<std::size_t>(size));
        while (!bytes.empty() && column.type->frame == Frame::Padded && bytes.back() == ' ') bytes.pop_back();
    }
    const bool prefixed = column.type->frame == Frame::Prefixed;
    if (prefixed) put(slot, static_cast<int16_t>(bytes.size()));
    std::ranges::copy(bytes, slot + (prefixed ? 2 : 0));
}

std::string random_digits(Random &random, std::size_t most)
{
    std::string digits(1 + below(random, most), '0');
    for (char &digit : digits) digit = static_cast<char>('0' + below(random, 10));
    return digits;
}

void put_packed(const Column &column, Random &random, char *slot)
{
    const std::string digits = random_digits(random, static_cast<std::size_t>(std::max(column.length, 1)));
    if (column.length > 0)
        ZEMTCnvVarcharSzToDecKest(digits.c_str(), nullptr, slot, 0, std::array<int32_t, 1>{}.data(), &column.write_parms);
    slot[column.slot_size - 1] = static_cast<char>((slot[column.slot_size - 1] & 0xF0) | (below(random, 4) == 0 ? 0xD : 0xC));
}

void put_varnum(Random &random, char *slot)
{
    const std::string digits = random_digits(random, 18) + "." + random_digits(random, 20);
    int32_t length = 0;
    int32_t size = 0;
    ZEMTCnvVarcharSz_UnsignedToOraVarnum(digits.c_str(), &length, slot, 0, &size, nullptr);
}

void put_moment(const Column &column, Random &random, char *slot)
{
    ZEMTTS moment{};
    moment.year = static_cast<int16_t>(1 + below(random, 9999));
    moment.month = static_cast<uint16_t>(1 + below(random, 12));
    moment.day = static_cast<uint16_t>(1 + below(random, 28));
    moment.hour = static_cast<uint16_t>(below(random, 24));
    moment.minute = static_cast<uint16_t>(below(random, 60));
    moment.second = static_cast<uint16_t>(below(random, 60));
    if (column.write_format->has(ZEMT_FMT_FFFFFF)) moment.fraction = static_cast<int32_t>(below(random, 1000000));
    const auto *const from = reinterpret_cast<const char *>(&moment);
    const bool time = column.type->format_kind == ZEMT_KIND_TIME;
    std::memcpy(slot, from + (time ? offsetof(ZEMTTS, hour) : 0), column.slot_size == sizeof moment ? sizeof moment : 6);
}

void put_float(const Column &column, Random &random, char *slot)
{
    const double value = static_cast<double>(static_cast<int64_t>(random())) / static_cast<double>(1 + below(random, 1u << 30));
    if (column.slot_size == sizeof value)
        put(slot, value);
    else
        put(slot, static_cast<float>(value));
}

void put_value(const Column &column, Random &random, char *slot)
{
    clear_slot(column, slot);
    switch (column.type->family) {
    case Family::Text:
    case Family::WideText: return put_text(column, random, slot);
    case Family::Integer: {
        const uint64_t value = random() >> below(random, column.slot_size * 8) % (column.slot_size * 8);
        std::memcpy(slot, &value, column.slot_size);
        return;
    }
    case Family::Float: return put_float(column, random, slot);
    case Family::Packed: return put_packed(column, random, slot);
    case Family::Varnum: return put_varnum(random, slot);
    case Family::Moment: return put_moment(column, random, slot);
    case Family::Filler: return;
    }
}

// Any bytes, most of them small, or one bit of a good value turned over.
void spoil(const Column &column, Random &random, char *slot)
{
    if (below(random, 2) == 0) {
        char &byte = slot[below(random, column.slot_size)];
        byte = static_cast<char>(static_cast<unsigned char>(byte) ^ 1u << below(random, 8));
        return;
    }
    for (std::size_t i = 0; i < column.slot_size; ++i) slot[i] = static_cast<char>(below(random, 256) >> below(random, 9));
}

void write_records(const Layout &layout, Random &random, uint64_t count, bool hostile)
{
    std::string record(layout.record_size, '\0');
    for (; count > 0; --count) {
        for (const Column &column : layout.columns) {
            char *const slot = record.data() + column.offset;
            put_value(column, random, slot);
            if (hostile && below(random, 16 * layout.columns.size()) == 0) spoil(column, random, slot);
        }
        std::fwrite(record.data(), 1, record.size(), stdout);
    }
}

}  // namespace
}  // namespace recordcsv

int main(int argc, char **argv)
{
    if (argc < 4) return 2;
    recordcsv::Random random(std::strtoull(argv[2], nullptr, 10));
    recordcsv::write_records(recordcsv::read_layout(argv[1]), random, std::strtoull(argv[3], nullptr, 10), argc > 4);
    return 0;
}
