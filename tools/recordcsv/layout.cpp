#include "layout.h"

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>

#include "encodings.h"
#include "files.h"

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
constexpr Measure scale_measure{"scale", "DecKest(9,2)", 0};
constexpr Measure precision_measure{"precision", "DecKest(15)", 0};

const Measure *measure_of(const ColumnType &type)
{
    switch (type.takes) {
    case Takes::Length: return &length_measure;
    case Takes::Precision: return &precision_measure;
    default: return nullptr;
    }
}

int32_t parse_number(const ColumnType &type, const Measure &measure, std::string_view text, int32_t largest)
{
    int32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc{} || end != text.data() + text.size() || number < measure.least || number > largest) {
        throw FatalError(std::string(type.name) + " takes a " + std::string(measure.name) + " of " +
                         std::to_string(measure.least) + ".." + std::to_string(largest));
    }
    return number;
}

// "Varchar(60)", "Int"
void set_type(Column &column, std::string_view text)
{
    const std::size_t open = text.find('(');
    column.type = find_type(text.substr(0, open));
    if (!column.type) throw FatalError("unknown type " + shown(text));
    if (column.type->family == Family::Filler && !column.name.empty()) throw FatalError("Skip(n) takes no name");
    const Measure *measure = measure_of(*column.type);
    if (measure) {
        if (open == std::string_view::npos || !text.ends_with(')')) {
            throw FatalError(shown(text) + " has no " + std::string(measure->name) + ", as in " +
                             std::string(measure->example));
        }
        const std::string_view numbers = text.substr(open + 1, text.size() - open - 2);
        const std::size_t comma = measure == &precision_measure ? numbers.find(',') : std::string_view::npos;
        column.length = parse_number(*column.type, *measure, numbers.substr(0, comma), column.type->largest);
        if (comma != std::string_view::npos)
            column.scale = parse_number(*column.type, scale_measure, numbers.substr(comma + 1), column.length);
    } else if (open != std::string_view::npos) {
        throw FatalError(std::string(column.type->name) + " takes no length");
    }
}

void set_format(Column &column, const std::optional<Word> &word)
{
    const bool time = column.type->format_kind == ZEMT_KIND_TIME;
    if (!word || !word->in_quotes) throw FatalError(std::string(column.type->name) + " needs a format in quotes");
    try {
        column.write_format = std::make_unique<PreparedFormat>(word->text);
        column.read_format = std::make_unique<PreparedFormat>(std::string(time ? "%YYYY-%MM-%DD " : "").append(word->text));
        column.format = word->text;
    } catch (const ValueFailure &failure) {
        throw FatalError("format " + shown(word->text) + ": " + failure.what());
    }
    const int32_t kind = column.write_format->kind;
    if (kind == 0 || (column.type->format_kind != 0 && kind != column.type->format_kind)) {
        throw FatalError("format " + shown(word->text) + " does not suit " + std::string(column.type->name));
    }
}

// What stands behind the type: a format for dates and times, "Trim" or nothing for text, nothing for numbers.
void set_options(Column &column, std::string_view line)
{
    const Family family = column.type->family;
    std::optional<Word> word = next_word(line);
    const auto is = [&word](std::string_view keyword) { return word && !word->in_quotes && word->text == keyword; };
    if (column.type->takes == Takes::Format) {
        set_format(column, word);
        word = next_word(line);
    }
    if (family == Family::Text && is("Encoding")) {
        word = next_word(line);
        if (!word) throw FatalError("Encoding has no name, as in Encoding ISO-8859-1");
        column.encoding = word->text;
        column.blank = Encoding(column.encoding).blank();
        word = next_word(line);
    }
    if ((family == Family::Text || family == Family::WideText) && is("Trim")) {
        column.trim = true;
        word = next_word(line);
    }
    if (word) throw FatalError("unexpected " + shown(word->text));
}

std::optional<Column> parse_line(std::string_view line)
{
    const std::optional<Word> name = next_word(line);
    if (!name) return std::nullopt;
    if (!name->in_quotes && name->text.starts_with("Skip(")) {
        Column filler{.name = {}};
        set_type(filler, name->text);
        set_options(filler, line);
        return filler;
    }
    if (name->text.empty() || !is_utf8(name->text)) throw FatalError("a column's name has to be text in UTF-8");
    const std::optional<Word> type = next_word(line);
    if (!type) throw FatalError("column " + shown(name->text) + " has no type");
    Column column{.name = std::string(name->text)};
    set_type(column, type->text);
    set_options(column, line);
    return column;
}

void add_column(Layout &layout, Column column)
{
    const bool filler = column.type->family == Family::Filler;
    if (!filler && layout.find(column.name) != nullptr) throw FatalError("a second column " + shown(column.name));
    column.prepare();
    column.offset = layout.record_size;
    layout.record_size += column.slot_size;
    if (layout.record_size > largest_record)
        throw FatalError("a record of more than " + std::to_string(largest_record) + " bytes");
    (filler ? layout.fillers : layout.columns).push_back(std::move(column));
}

}  // namespace

const Column *Layout::find(std::string_view name) const
{
    const auto found = std::ranges::find(columns, name, &Column::name);
    return found == columns.end() ? nullptr : &*found;
}

Layout read_layout(const std::string &path)
{
    std::ifstream file(path);
    if (!file) throw FatalError::of_errno(Unusable, path);
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
    if (file.bad()) throw FatalError::of_errno(Unusable, path);
    if (layout.columns.empty()) throw FatalError(path + ": no columns");
    return layout;
}

}  // namespace recordcsv
