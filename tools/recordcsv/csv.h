// CSV as RFC 4180 has it: rows found in a stretch of text, their fields, and fields written.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

#include "buffer.h"
#include "values.h"

namespace recordcsv {

constexpr std::size_t longest_row = std::size_t{16} << 20;  // with its line end

struct Row {
    std::string_view text;          // without its line end
    std::size_t size = 0;           // with it
    std::size_t lines = 1;          // that it takes
    const char *problem = nullptr;  // why it is no row; null where it is one
};

enum class Search { Found, NeedsMore, TooLong };

// Finds the row at the start of text. What it finds depends on the next longest_row bytes alone, however many there are.
class RowFinder
{
public:
    explicit RowFinder(char delimiter) : delimiter_(delimiter) {}

    Search find(std::string_view text, bool ended, Row &row);
    // To be called where text moves or its bytes change.
    void forget() { next_quote_ = nullptr; }

private:
    Search find_quoted(std::string_view text, Search unfinished, bool last, Row &row) const;

    char delimiter_;
    const char *next_quote_ = nullptr;  // in front of which there is none; null: not known
};

// Splits well-formed rows into fields, which are good until the next call.
class FieldSplitter
{
public:
    explicit FieldSplitter(char delimiter) : delimiter_(delimiter) {}

    // Of more than so many fields only the first are kept, but all are counted.
    const std::vector<Field> &split(std::string_view row, std::size_t most);
    std::size_t count() const { return count_; }

private:
    Field take_quoted(std::string_view &rest);

    char delimiter_;
    std::vector<Field> fields_;
    std::size_t count_ = 0;
    Buffer unescaped_;
};

void append_quoted(Buffer &out, std::string_view text);

// Appends a field, in quotes where it says so. Behind its text readable_behind bytes can be read.
inline void append_field(Buffer &out, const Field &field)
{
    if (field.quoted)
        append_quoted(out, field.text);
    else
        out.append_padded(field.text);
}

// Appends a text of any kind as a field.
void append_text(Buffer &out, std::string_view text, char delimiter);

}  // namespace recordcsv
