#include "csv.h"

#include <algorithm>
#include <cstring>

namespace recordcsv {
namespace {

const char *find_char(const char *at, const char *end, char character)
{
    const void *const found = std::memchr(at, character, static_cast<std::size_t>(end - at));
    return found == nullptr ? end : static_cast<const char *>(found);
}

}  // namespace

Search RowFinder::find(std::string_view text, bool ended, Row &row)
{
    const char *const begin = text.data();
    if (next_quote_ == nullptr || next_quote_ < begin) next_quote_ = find_char(begin, begin + text.size(), '"');
    const bool full = text.size() > longest_row;
    const bool last = ended && !full;  // nothing comes behind the text
    const Search unfinished = full ? Search::TooLong : Search::NeedsMore;
    text = text.substr(0, longest_row);

    const char *const end = begin + text.size();
    const char *const line_end = find_char(begin, end, '\n');
    if (next_quote_ < line_end) return find_quoted(text, unfinished, last, row);
    if (line_end == end && (!last || text.empty())) return unfinished;
    const auto size = static_cast<std::size_t>(line_end - begin);
    row = {text.substr(0, size), size + (line_end != end)};
    if (row.text.ends_with('\r')) row.text.remove_suffix(1);
    return Search::Found;
}

// A row is over at its first line end outside of quotes, or at the end of the line on which it stops being one.
Search RowFinder::find_quoted(std::string_view text, Search unfinished, bool last, Row &row) const
{
    const char *const begin = text.data();
    const char *const end = begin + text.size();
    const char *at = begin;
    const char *problem = nullptr;
    for (bool at_field = true; at != end && *at != '\n';) {
        if (at_field && *at == '"') {
            at = find_char(at + 1, end, '"');
            while (at + 1 < end && at[1] == '"') at = find_char(at + 2, end, '"');
            if (at + 1 >= end && !last) return unfinished;
            if (at == end) {
                // What the quote keeps open may be everything else: its line is set aside, and the next one begins a row.
                at = begin;
                problem = "a quote that nothing closes";
                break;
            }
            if (++at == end) break;
            const bool line_ends = *at == '\n' || (*at == '\r' && (at + 1 == end || at[1] == '\n'));
            if (*at != delimiter_ && !line_ends) {
                problem = "a character behind a closing quote";
                break;
            }
            at_field = false;
            continue;
        }
        if (*at == '"') {
            problem = "a quote inside a field that has none around it";
            break;
        }
        at_field = *at++ == delimiter_;
    }
    const char *const line_end = find_char(at, end, '\n');
    if (line_end == end && !last) return unfinished;
    const auto size = static_cast<std::size_t>(line_end - begin);
    row = {text.substr(0, size), size + (line_end != end), 0, problem};
    row.lines = static_cast<std::size_t>(std::count(begin, line_end, '\n')) + 1;
    if (row.text.ends_with('\r')) row.text.remove_suffix(1);
    return Search::Found;
}

// A field in quotes at the start of rest, which is left at the delimiter behind it.
Field FieldSplitter::take_quoted(std::string_view &rest)
{
    const char *const begin = rest.data() + 1;
    const char *const end = rest.data() + rest.size();
    const char *close = find_char(begin, end, '"');
    const char *from = begin;
    const std::size_t start = unescaped_.size();
    const auto keep = [this, &from](const char *end_of_piece) {
        unescaped_.append({from, static_cast<std::size_t>(end_of_piece - from)});
    };
    bool escaped = false;
    while (close + 1 < end && close[1] == '"') {
        keep(close + 1);
        escaped = true;
        from = close + 2;
        close = find_char(from, end, '"');
    }
    if (escaped) keep(close);
    rest.remove_prefix(static_cast<std::size_t>(close + (close != end) - rest.data()));
    if (!escaped) return {{begin, static_cast<std::size_t>(close - begin)}, true};
    return {unescaped_.view().substr(start), true};
}

const std::vector<Field> &FieldSplitter::split(std::string_view row, std::size_t most)
{
    fields_.clear();
    count_ = 0;
    unescaped_.cut(0);
    unescaped_.room(row.size());  // so that fields stay where they are
    for (std::string_view rest = row;;) {
        Field field;
        if (rest.starts_with('"')) {
            field = take_quoted(rest);
        } else {
            const char *const end = rest.data() + rest.size();
            field.text = rest.substr(0, static_cast<std::size_t>(find_char(rest.data(), end, delimiter_) - rest.data()));
            rest.remove_prefix(field.text.size());
        }
        if (++count_ <= most) fields_.push_back(field);
        if (rest.empty()) return fields_;
        rest.remove_prefix(1);
    }
}

void append_text(Buffer &out, std::string_view text, char delimiter)
{
    const bool blanks = text.starts_with(' ') || text.ends_with(' ') || text.starts_with('\t') || text.ends_with('\t');
    const bool special = text.find_first_of("\"\r\n") != std::string_view::npos ||
                         text.find(delimiter) != std::string_view::npos || text.starts_with(byte_order_mark);
    if (blanks || special)
        append_quoted(out, text);
    else
        out.append(text);
}

void append_quoted(Buffer &out, std::string_view text)
{
    out.append('"');
    for (std::size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        out.append(text.substr(0, quote + 1));
        out.append('"');
    }
    out.append(text);
    out.append('"');
}

}  // namespace recordcsv
