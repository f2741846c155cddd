#include "rows.h"

namespace recordcsv {
namespace {

constexpr std::size_t longest_row = 16 << 20;
constexpr std::string_view byte_order_mark = "\xEF\xBB\xBF";

// Blanks belong to a field: nothing is trimmed.
int is_space(unsigned char /*character*/)
{
    return 0;
}

void on_field(void *value, std::size_t size, void *context)
{
    Row &row = *static_cast<Row *>(context);
    row.values.append(static_cast<const char *>(value), size);
    row.ends.push_back(row.values.size());
}

void on_row(int /*line_end*/, void *context)
{
    static_cast<Row *>(context)->complete = true;
}

bool needs_quotes(std::string_view field)
{
    return field.find_first_of(",\"\r\n") != std::string_view::npos || field.starts_with(' ') || field.ends_with(' ') ||
           field.starts_with('\t') || field.ends_with('\t');
}

std::string in_quotes(std::string_view field)
{
    std::string result(field.size() * 2 + 2, '\0');
    result.resize(csv_write(result.data(), result.size(), field.data(), field.size()));
    return result;
}

}  // namespace

void RowWriter::add(std::string_view field)
{
    if (!first_) row_ += ',';
    first_ = false;
    if (needs_quotes(field)) {
        row_ += in_quotes(field);
    } else {
        row_ += field;
    }
}

std::string_view RowWriter::finish()
{
    // A blank line would not be read as a row.
    if (row_.empty()) row_ = "\"\"";
    row_ += '\n';
    return row_;
}

void RowWriter::clear()
{
    row_.clear();
    first_ = true;
}

void Row::clear()
{
    raw.clear();
    values.clear();
    ends.clear();
    complete = false;
    problem.clear();
}

std::string_view Row::field(std::size_t index) const
{
    const std::size_t begin = index == 0 ? 0 : ends[index - 1];
    return std::string_view(values).substr(begin, ends[index] - begin);
}

CsvReader::CsvReader(Input &input) : input_(input)
{
    start();
}

void CsvReader::start()
{
    csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI);
    csv_set_space_func(&parser_, is_space);
}

// What has been read of the row counts as the row; the next line begins a new one.
void CsvReader::fail(Row &row)
{
    row.problem = std::string("not CSV, ") + csv_strerror(csv_error(&parser_));
    csv_free(&parser_);
    start();
}

bool CsvReader::next(Row &row)
{
    row.clear();
    while (!row.complete) {
        line_.clear();
        if (!input_.read_line(line_, longest_row - row.raw.size())) break;
        if (at_start_ && line_.starts_with(byte_order_mark)) line_.erase(0, byte_order_mark.size());
        at_start_ = false;
        if (row.raw.empty() && line_.find_first_not_of("\r\n") == std::string::npos) continue;
        row.raw += line_;
        if (csv_parse(&parser_, line_.data(), line_.size(), on_field, on_row, &row) == line_.size()) continue;
        fail(row);
        return true;
    }
    if (row.raw.empty()) return false;
    if (!row.complete && csv_fini(&parser_, on_field, on_row, &row) != 0) fail(row);
    return true;
}

}  // namespace recordcsv
