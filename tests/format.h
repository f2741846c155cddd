// A prepared date format.
#pragma once

#include "models/dates.h"

struct Format {
    explicit Format(std::wstring_view format = L"") : text(format), list(listed(text, 0).items)
    {
        if (list.empty() || list.back().code != ZEMT_FMT_END) list.push_back({0, ZEMT_FMT_END, 0, 0});
        date_format.formatCodes = list.data();
        date_format.formatLength = static_cast<int32_t>(text.size());
        parms.dateFormat = &date_format;
        set_text(text.c_str());
    }

    // For the one function that takes a format's text.
    void set_text(const wchar_t *characters) { memcpy(parms.callerData, &characters, sizeof characters); }

    std::wstring text;
    std::vector<ZEMTFmtItem> list;
    ZEMTDateFormat date_format{};
    ZEMTCnvParms parms{};
};

constexpr ZEMTTS at(int year, int month, int day, int hour = 0, int minute = 0, int second = 0, int fraction = 0)
{
    const auto field = [](int value) { return static_cast<uint16_t>(value); };
    return {static_cast<int16_t>(year), field(month), field(day), field(hour), field(minute), field(second), fraction, {}};
}
