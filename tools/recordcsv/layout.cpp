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

// The number in parentheses behind a type's name.
struct Measure {
    std::string_view name;
    std::string_view example;
    int32_t least;
};

constexpr Measure length_measure{"length", "Varchar(60)", 1};
constexpr Measure precision_measure{"precision", "DecKest(15)", 0};

const Measure *measure_of(const ColumnType &type)
{
    switch (type.rules.takes) {
    case Takes::Length: return &length_measure;
    case Takes::Precision: return &precision_measure;
    default: return nullptr;
    }
}

int32_t parse_number(const ColumnType &type, const Measure &measure, std::string_view text)
{
    int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < measure.least || number > type.largest) {
        throw FatalError(std::string(type.name) + " takes a " + std::string(measure.name) + " of " +
                         std::to_string(measure.least) + ".." + std::to_string(type.largest));
    }
    return number;
}

// "Varchar(60)", "Int"
void set_type(Column &column, std::string_view text)
{
    const std::size_t open = text.find('(');
    column.type = find_type(text.substr(0, open));
    if (!column.type) throw FatalError("unknown type " + shown(text));
    const Measure *measure = measure_of(*column.type);
    if (measure) {
        if (open == std::string_view::npos || !text.ends_with(')')) {
            throw FatalError(shown(text) + " has no " + std::string(measure->name) + ", as in " +
                             std::string(measure->example));
        }
        column.length = parse_number(*column.type, *measure, text.substr(open + 1, text.size() - open - 2));
    } else if (open != std::string_view::npos) {
        throw FatalError(std::string(column.type->name) + " takes no length");
    }
}

void set_format(Column &column, const std::optional<Word> &word)
{
    const Rules &rules = column.type->rules;
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

// What stands behind the type: a format for dates and times, "Trim" or nothing for text, nothing for numbers.
void set_options(Column &column, std::string_view line)
{
    const Takes takes = column.type->rules.takes;
    std::optional<Word> word = next_word(line);
    if (takes == Takes::Format) {
        set_format(column, word);
        word = next_word(line);
    } else if (takes == Takes::Length && word && !word->in_quotes && word->text == "Trim") {
        column.trim = true;
        word = next_word(line);
    }
    if (word) throw FatalError("unexpected " + shown(word->text));
}

std::optional<Column> parse_line(std::string_view line)
{
    const std::optional<Word> name = next_word(line);
    if (!name) return std::nullopt;
    const std::optional<Word> type = next_word(line);
    if (!type) throw FatalError("column " + shown(name->text) + " has no type");
    Column column{.name = std::string(name->text)};
    set_type(column, type->text);
    set_options(column, line);
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
