// Conversion of one value: slot to CSV field and back.
#pragma once

#include "columns.h"

namespace recordcsv {

struct WideText {
    std::vector<wchar_t> buffer = {};
    int32_t length = 0;  // characters before the terminator
};

// UTF-8 to wide text and back. Throw ValueFailure where the library refuses.
void decode(std::string_view utf8, WideText &text);
void encode(const WideText &text, std::string &utf8);

// A text in quotes for a message: cut where it is long, without control characters.
std::string shown(std::string_view text);

// Converts values and keeps the buffers from one to the next. Both directions throw ValueFailure; both convert each value
// back and compare, because the library passes over much that a user would want to know of: a malformed tail, a character 0,
// a number out of range, a sign, text that does not fit a wide slot.
class Converter
{
public:
    // The field of a slot, good until the next call.
    std::string_view to_csv(const Column &column, std::span<const std::byte> slot);

    void from_csv(const Column &column, std::string_view field, std::span<std::byte> slot);

private:
    std::string_view read(const Column &column, std::span<const std::byte> slot);
    void write(const Column &column, std::string_view field, std::span<std::byte> slot);
    std::string_view without_blanks_around(std::string_view field);

    WideText wide_;
    std::string field_;
    std::string trimmed_;
    std::string with_leading_text_;
    std::vector<std::byte> slot_;
};

}  // namespace recordcsv
