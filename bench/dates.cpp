// Timestamps to wide text under a parsed format and back, beside the C library's formatted output and input.
#include <cstdio>
#include <ctime>
#include <cwchar>
#include <random>

#include "contenders.h"
#include "zemt.h"

namespace {

struct Value {
    ZEMTTS ts;
    std::tm tm;
    std::string_view narrow;
    std::wstring_view wide;
};

struct Room {
    char narrow[64];
    wchar_t wide[64];
    ZEMTTS ts;
    std::tm tm;
};

// "2024-01-15 13:45:30.123456"
const ZEMTCnvParms &parameters()
{
    static const wchar_t format[] = L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF";
    static ZEMTFmtItem list[sizeof format / sizeof *format];
    static ZEMTDateFormat date_format{};
    static ZEMTCnvParms parms{};
    int32_t kind = ZEMT_KIND_DATE;
    ZEMTGetFormatCodes(format, list, &kind);
    date_format.formatCodes = list;
    date_format.formatLength = sizeof format / sizeof *format - 1;
    parms.dateFormat = &date_format;
    return parms;
}

const ZEMTCnvParms &parms = parameters();

std::vector<Value> make_values()
{
    std::mt19937 random(1);
    const auto pick = [&random](int least, int most) {
        return least + static_cast<int>(random() % static_cast<unsigned>(most - least + 1));
    };
    std::vector<Value> values;
    while (values.size() < 64) {  // few are enough: no branch depends on what the digits are
        Value value{};
        value.ts.year = static_cast<int16_t>(pick(1970, 2037));
        value.ts.month = static_cast<uint16_t>(pick(1, 12));
        value.ts.day = static_cast<uint16_t>(pick(1, 28));
        value.ts.hour = static_cast<uint16_t>(pick(0, 23));
        value.ts.minute = static_cast<uint16_t>(pick(0, 59));
        value.ts.second = static_cast<uint16_t>(pick(0, 59));
        value.ts.fraction = pick(0, 999999);
        value.tm.tm_year = value.ts.year - 1900;
        value.tm.tm_mon = value.ts.month - 1;
        value.tm.tm_mday = value.ts.day;
        value.tm.tm_hour = value.ts.hour;
        value.tm.tm_min = value.ts.minute;
        value.tm.tm_sec = value.ts.second;
        wchar_t text[64];
        int32_t length;
        ZEMTCnvZEMTTSToWVarcharSz(&value.ts, nullptr, text, sizeof text, &length, &parms);
        value.wide = contest::wide_page.add(text);
        value.narrow = contest::narrow_page.add(std::string(value.wide.begin(), value.wide.end()));
        values.push_back(value);
    }
    return values;
}

void format_zemt(const Value &value, Room &room)
{
    int32_t length;
    ZEMTCnvZEMTTSToWVarcharSz(&value.ts, nullptr, room.wide, sizeof room.wide, &length, &parms);
}

void format_swprintf(const Value &value, Room &room)
{
    const ZEMTTS &ts = value.ts;
    std::swprintf(room.wide, 64, L"%04d-%02d-%02d %02d:%02d:%02d.%06d", ts.year, ts.month, ts.day, ts.hour, ts.minute,
                  ts.second, ts.fraction);
}

void format_strftime(const Value &value, Room &room)
{
    const size_t length = std::strftime(room.narrow, 32, "%Y-%m-%d %H:%M:%S", &value.tm);
    std::snprintf(room.narrow + length, 16, ".%06d", value.ts.fraction);
}

void parse_zemt(const Value &value, Room &room)
{
    int32_t source_length = 0;
    int32_t length;
    ZEMTCnvDateTimeWSzToZEMTTS(value.wide.data(), &source_length, &room.ts, sizeof room.ts, &length, &parms);
}

void parse_swscanf(const Value &value, Room &room)
{
    int field[7];
    std::swscanf(value.wide.data(), L"%4d-%2d-%2d %2d:%2d:%2d.%6d", &field[0], &field[1], &field[2], &field[3], &field[4],
                 &field[5], &field[6]);
    room.ts.year = static_cast<int16_t>(field[0]);
}

// Leaves the fraction unread.
void parse_strptime(const Value &value, Room &room)
{
    strptime(value.narrow.data(), "%Y-%m-%d %H:%M:%S", &room.tm);
}

void through_varchar(const Value &value, Room &room)
{
    int32_t length;
    ZEMTCnvZEMTTSToVarchar(&value.ts, nullptr, room.narrow, sizeof room.narrow, &length, &parms);
}

void from_varchar_sz(const Value &value, Room &room)
{
    int32_t source_length = 0;
    int32_t length;
    ZEMTCnvDateTimeSzToZEMTTS(value.narrow.data(), &source_length, &room.ts, sizeof room.ts, &length, &parms);
}

}  // namespace

void contest::enter_dates()
{
    const std::vector<Value> values = make_values();
    enter<Value, Room>(
        "timestamp to wide text, 26 characters", values, Room{},
        {{"zemt", format_zemt}, {"swprintf x5", format_swprintf}, {"strftime + snprintf, narrow x3", format_strftime}});
    enter<Value, Room>("wide text to timestamp, 26 characters", values, Room{},
                       {{"zemt", parse_zemt}, {"swscanf x6", parse_swscanf}, {"strptime, narrow x2", parse_strptime}});
    enter<Value, Room>("timestamp to Varchar, 26 characters", values, Room{},
                       {{"zemt", through_varchar}, {"strftime + snprintf, narrow", format_strftime}});
    enter<Value, Room>("VarcharSz to timestamp, 26 characters", values, Room{},
                       {{"zemt", from_varchar_sz}, {"strptime, narrow", parse_strptime}});
}
