#include "layout.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>

#include "files.h"
#include "values.h"

namespace recordcsv {
namespace {

constexpr std::string_view blanks = " \t\r";
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";
constexpr std::size_t largest_record = std::size_t{1} << 30;

struct Word {
    std::string_view text;
    bool in_quotes;
};

// Takes the first word off the line. A word in quotes may hold blanks and '#'.
std::optional<Word> next_word(std::string_view &line)
{
    const std::size_t start = line.find_first_not_of(blanks);
    if (start == std::string_view::npos || line[start] == '#') return std::nullopt;
    line.remove_prefix(start);
    const bool in_quotes = line.front() == '"';
    if (in_quotes) line.remove_prefix(1);
    const std::size_t end = in_quotes ? line.find('"') : std::min(line.find_first_of(blanks), line.size());
    if (end == std::string_view::npos) throw FatalError("a closing quote is missing");
    const Word word{line.substr(0, end), in_quotes};
    line.remove_prefix(in_quotes ? end + 1 : end);
    return word;
}

int32_t parse_length(const ColumnType &type, std::string_view text)
{
    int32_t length = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), length);
    if (error != std::errc{} || end != text.data() + text.size() || length < 1 || length > type.longest) {
        throw FatalError(std::string(type.name) + " takes a length of 1.." + std::to_string(type.longest));
    }
    return length;
}

// "Varchar(60)", "Int"
void set_type(Column &column, std::string_view text)
{
    const std::size_t open = text.find('(');
    column.type = find_type(text.substr(0, open));
    if (!column.type) throw FatalError("unknown type " + shown(text));
    const bool has_length = open != std::string_view::npos && text.ends_with(')');
    if (column.type->rules.takes == Takes::Length) {
        if (!has_length) throw FatalError(shown(text) + " has no length, as in Varchar(60)");
        column.length = parse_length(*column.type, text.substr(open + 1, text.size() - open - 2));
    } else if (open != std::string_view::npos) {
        throw FatalError(std::string(column.type->name) + " takes no length");
    }
}

void set_format(Column &column, const std::optional<Word> &word)
{
    const Rules &rules = column.type->rules;
    if (rules.takes != Takes::Format) {
        if (word) throw FatalError("unexpected " + shown(word->text));
        return;
    }
    if (!word || !word->in_quotes) throw FatalError(std::string(column.type->name) + " needs a format in quotes");
    try {
        column.write_format = std::make_unique<PreparedFormat>(word->text);
        column.read_format = std::make_unique<PreparedFormat>(std::string(rules.leading_format).append(word->text));
    } catch (const ValueFailure &failure) {
        throw FatalError("format " + shown(word->text) + ": " + failure.what());
    }
    const int32_t kind = column.write_format->kind;
    if (kind == 0 || (rules.format_kind != 0 && kind != rules.format_kind)) {
        throw FatalError("format " + shown(word->text) + " does not suit " + std::string(column.type->name));
    }
}

std::optional<Column> parse_line(std::string_view line)
{
    const std::optional<Word> name = next_word(line);
    if (!name) return std::nullopt;
    const std::optional<Word> type = next_word(line);
    if (!type) throw FatalError("column " + shown(name->text) + " has no type");
    Column column{.name = std::string(name->text)};
    set_type(column, type->text);
    set_format(column, next_word(line));
    if (const std::optional<Word> rest = next_word(line)) throw FatalError("unexpected " + shown(rest->text));
    return column;
}

void add_column(Layout &layout, Column column)
{
    const auto same_name = [&](const Column &other) { return other.name == column.name; };
    if (std::ranges::any_of(layout.columns, same_name)) throw FatalError("a second column " + shown(column.name));
    column.offset = layout.record_size;
    layout.record_size += static_cast<std::size_t>(column.slot_size());
    if (layout.record_size > largest_record)
        throw FatalError("a record of more than " + std::to_string(largest_record) + " bytes");
    layout.columns.push_back(std::move(column));
}

}  // namespace

Layout read_layout(const std::string &path)
{
    std::ifstream file(path);
    if (!file) throw FatalError::of_errno(path);
    Layout layout;
    std::string line;
    for (int number = 1; std::getline(file, line); ++number) {
        std::string_view rest = line;
        if (number == 1 && rest.starts_with(byte_order_mark)) rest.remove_prefix(byte_order_mark.size());
        try {
            if (auto column = parse_line(rest)) add_column(layout, *std::move(column));
        } catch (const FatalError &error) {
            throw FatalError(path + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    if (file.bad()) throw FatalError::of_errno(path);
    if (layout.columns.empty()) throw FatalError(path + ": no columns");
    return layout;
}

}  // namespace recordcsv
