// Conversion of one value: slot to CSV field and back.
#pragma once

#include <map>
#include <optional>

#include "buffer.h"
#include "columns.h"
#include "encodings.h"
#include "layout.h"

namespace recordcsv {

// At the start of a file it is no part of the first field, unless that stands in quotes.
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

struct Field {
    std::string_view text;  // behind which readable_behind bytes can be read
    bool quoted = false;    // read from quotes, or to be written in them
};

struct ValueOptions {
    bool shortest_floats = true;
    char delimiter = ',';
    bool exact = false;  // bytes of a slot that say nothing count as well
    std::optional<std::string> null = {};
};

// Converts values and keeps the buffers from one to the next. Both directions throw ValueFailure; both convert each value
// back and compare, because the library passes over much that a user would want to know of: a malformed tail, a character 0,
// a number out of range, text that does not fit a wide slot.
class Converter
{
public:
    Converter(const Layout &layout, ValueOptions options);

    // The field of a slot, good until the next call.
    Field to_csv(const Column &column, const char *slot);

    void from_csv(const Column &column, Field field, char *slot);

private:
    bool can_be_unset(const Column &column) const;
    std::string_view read(const Column &column, const char *slot);
    std::string_view read_text(const Column &column, const char *slot);
    std::string_view read_number(const Column &column, const char *slot);
    std::string_view with_point(const Column &column, bool negative);
    std::string_view read_float(const Column &column, const char *slot, bool shortest);
    std::string_view encode_at(std::size_t start, int32_t length);
    void write(const Column &column, std::string_view field, char *slot);
    void write_encoded(const Column &column, char *slot);
    void write_packed(const Column &column, std::string_view field, char *slot);
    int32_t decode(std::string_view utf8, std::size_t at = 0);
    void widen(std::string_view field, std::size_t at = 0);
    void store(const Column &column, const void *text, char *slot);
    void store_number(const Column &column, std::string_view field, char *slot);
    bool reads_back(const Column &column, const char *slot, std::string_view field);
    bool same_slot(const Column &column, const char *slot, const char *read_back) const;

    ValueOptions options_;
    std::vector<wchar_t> wide_;
    int32_t length_ = 0;  // of the text in wide_
    bool needs_quotes_ = false;
    std::vector<char> field_;
    std::vector<char> slot_;
    Buffer digits_;
    Buffer text_;
    Buffer null_;             // as options_ has it
    std::string_view value_;  // of the text that was read last
    std::map<const Column *, Encoding> encodings_;
};

}  // namespace recordcsv
