#include "convert.h"

#include <algorithm>

#include "csv.h"
#include "pipeline.h"

namespace recordcsv {
namespace {

// What a thread takes at a time: so little that what becomes of it is bounded, too.
constexpr std::size_t block_size = std::size_t{1} << 18;
constexpr std::size_t block_rows = std::size_t{1} << 14;

using Columns = std::vector<const Column *>;

// The chosen columns in their order; all of the layout where none are named.
Columns chosen_columns(const Options &options, const Layout &layout)
{
    Columns columns;
    for (const std::string &name : options.columns) {
        const Column *const column = layout.find(name);
        if (column == nullptr) throw FatalError("--columns: " + shown(name) + " is no column of the layout");
        if (std::ranges::find(columns, column) != columns.end()) throw FatalError("--columns: " + shown(name) + " twice");
        columns.push_back(column);
    }
    if (columns.empty()) {
        for (const Column &column : layout.columns) columns.push_back(&column);
    }
    return columns;
}

// What a block becomes, and which of its rows do not.
struct Converted {
    Buffer output;
    std::vector<FailedRow> failed;

    void clear()
    {
        output.cut(0);
        failed.clear();
    }
};

void write_block(const Converted &converted, uint64_t rows, Output &output, Report &report)
{
    for (const FailedRow &row : converted.failed) report.reject(row);
    output.write(converted.output.view());
    report.add(rows);
}

// Calls convert, and adds what it throws to the row's problems, as describe has it.
template <typename Convert, typename Describe>
void try_value(FailedRow &row, const Column &column, Convert convert, Describe describe)
{
    try {
        convert();
    } catch (const ValueFailure &failure) {
        row.problems.push_back({&column, failure.status, describe(std::string(failure.what()))});
    }
}

// "0d 00 ff", cut where it is long.
std::string hexadecimal(std::string_view bytes)
{
    constexpr std::size_t most = 24;
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes.substr(0, most)) {
        const auto value = static_cast<unsigned char>(byte);
        text.append(text.empty() ? "" : " ").append(1, digits[value >> 4]).append(1, digits[value & 0xF]);
    }
    return text + (bytes.size() > most ? " ..." : "");
}

// ---- Records to CSV ---------------------------------------------------------------------------------------------------------

struct RecordBlock {
    Buffer input;
    uint64_t first_row = 0;
    Converted converted;
};

class RecordReader
{
public:
    RecordReader(const Options &options, const Layout &layout, Input &input)
        : input_(input), size_(layout.record_size), next_row_(options.skip + 1), left_(options.count)
    {
        input.skip(std::min(options.skip, static_cast<uint64_t>(INT64_MAX) / layout.record_size) * layout.record_size);
    }

    bool read(RecordBlock &block)
    {
        const uint64_t rows = std::min<uint64_t>(left_, std::clamp<std::size_t>(block_size / size_, 1, block_rows));
        block.converted.clear();
        block.input.cut(0);
        block.input.add(input_.read(block.input.room(rows * size_), rows * size_));
        block.first_row = next_row_;
        next_row_ += rows;
        left_ -= rows;
        return block.input.size() != 0;
    }

private:
    Input &input_;
    std::size_t size_;
    uint64_t next_row_;
    uint64_t left_;
};

class RecordConverter
{
public:
    RecordConverter(const Options &options, const Layout &layout, const Columns &columns)
        : options_(options), layout_(layout), columns_(columns), converter_(layout, options.values)
    {
    }

    void convert(RecordBlock &block)
    {
        const std::string_view records = block.input.view();
        const std::size_t size = layout_.record_size;
        for (std::size_t at = 0, row = 0; at < records.size(); at += size, ++row) {
            const std::string_view record = records.substr(at, size);
            const std::size_t before = block.converted.output.size();
            FailedRow failed{.row = block.first_row + row, .bytes = record};
            if (record.size() == size)
                convert(record.data(), block.converted.output, failed);
            else
                failed.problems.push_back(
                    {nullptr, ZEMT_RC_ERROR,
                     "incomplete record, " + std::to_string(record.size()) + " of " + std::to_string(size) + " bytes"});
            if (failed.problems.empty()) continue;
            block.converted.output.cut(before);
            block.converted.failed.push_back(std::move(failed));
        }
    }

private:
    void convert(const char *record, Buffer &out, FailedRow &failed)
    {
        const std::size_t start = out.size();
        for (const Column *const column : columns_) {
            const char *const slot = record + column->offset;
            try_value(
                failed, *column, [&] { append_field(out, converter_.to_csv(*column, slot)); },
                [&](const std::string &message) {
                    return message + "; bytes " + hexadecimal({slot, column->slot_size});
                });
            out.append(options_.values.delimiter);
        }
        out.cut(out.size() - 1);
        for (const Column &filler : layout_.fillers) check_filler(record, filler, failed);
        // A blank line would be passed over.
        if (out.size() == start && columns_.size() == 1 && failed.problems.empty()) out.append("\"\"");
        out.append('\n');
    }

    void check_filler(const char *record, const Column &filler, FailedRow &failed) const
    {
        const std::string_view bytes(record + filler.offset, filler.slot_size);
        if (!options_.values.exact || bytes.find_first_not_of('\0') == std::string_view::npos) return;
        failed.problems.push_back(
            {nullptr, ZEMT_RC_ERROR, "skipped bytes at " + std::to_string(filler.offset) + " that are not 0"});
    }

    const Options &options_;
    const Layout &layout_;
    const Columns &columns_;
    Converter converter_;
};

// ---- CSV to records ---------------------------------------------------------------------------------------------------------

struct CsvRow {
    Row row;
    uint64_t line;
    uint64_t number;
    bool continues;  // a line that is too long to be a row, and is set aside in pieces
};

struct CsvBlock {
    Buffer input;
    std::vector<CsvRow> rows;
    std::size_t count = 0;  // of rows, without pieces
    Converted converted;
};

class CsvReader
{
public:
    CsvReader(const Options &options, const Layout &layout, Input &input)
        : input_(input), finder_(options.values.delimiter),
          most_(std::clamp<std::size_t>(4 * block_size / layout.record_size, 1, block_rows)),
          next_number_(options.header ? 0 : 1)
    {
    }

    // A CSV of one column has rows that are blank lines.
    void take_blank_lines(bool take) { blank_rows_ = take; }

    // Reads rows, some at a time and at least one; false where there are none left.
    bool read(CsvBlock &block, std::size_t most)
    {
        block.converted.clear();
        block.rows.clear();
        block.count = 0;
        block.input.cut(0);
        block.input.append(rest_.view());
        rest_.cut(0);
        std::size_t at = 0;
        for (;;) {
            at += find_rows(block, at, std::min(most, most_));
            if (!block.rows.empty() || (ended_ && at == block.input.size())) break;
            block.input.drop(at);  // rows point into it, but there are none yet
            at = 0;
            const std::size_t size = std::max(block_size, block.input.size() / 4);
            const std::size_t count = input_.read(block.input.room(size), size);
            block.input.add(count);
            ended_ = count < size;
        }
        rest_.append(block.input.view().substr(at));
        return !block.rows.empty();
    }

private:
    // Adds the rows that stand from a place on, and returns how many bytes they have.
    std::size_t find_rows(CsvBlock &block, std::size_t from, std::size_t most)
    {
        finder_.forget();
        std::size_t at = from;
        if (at_start_ && (ended_ || block.input.size() >= byte_order_mark.size())) {
            at_start_ = false;
            if (block.input.view().starts_with(byte_order_mark)) at += byte_order_mark.size();
        }
        Row row;
        while (block.count < most && at - from < block_size) {
            const bool continues = in_long_line_;
            if (!find_row(block.input.view().substr(at), row)) break;
            if (!row.text.empty() || blank_rows_ || row.problem != nullptr) {
                block.rows.push_back({row, line_, continues ? next_number_ - 1 : next_number_++, continues});
                block.count += continues ? 0 : 1;
            }
            line_ += row.lines;
            at += row.size;
        }
        return at - from;
    }

    bool find_row(std::string_view text, Row &row)
    {
        if (text.empty()) return false;
        const char *problem = "a row of more than 16 MiB";
        if (!in_long_line_) {
            const Search search = finder_.find(text, ended_, row);
            if (search != Search::TooLong) return search == Search::Found;
            text = text.substr(0, longest_row);
            if (text.find('\n') != std::string_view::npos) problem = "a quote that nothing closes within 16 MiB";
        }
        const std::size_t line_end = text.find('\n');
        in_long_line_ = line_end == std::string_view::npos;
        const std::size_t size = in_long_line_ ? text.size() : line_end + 1;
        row = {text.substr(0, size), size, in_long_line_ ? 0u : 1u, problem};
        return true;
    }

    Input &input_;
    RowFinder finder_;
    std::size_t most_;
    Buffer rest_;
    bool blank_rows_ = false;
    bool at_start_ = true;
    bool ended_ = false;
    bool in_long_line_ = false;
    uint64_t line_ = 1;
    uint64_t next_number_;  // the header has none
};

std::string with_line_end(std::string_view raw)
{
    std::string line(raw);
    if (!line.ends_with('\n')) line += '\n';
    return line;
}

// The column of each field, by the names in the header; null where it is not chosen.
Columns columns_of_header(const Layout &layout, const Columns &chosen, const std::vector<Field> &names)
{
    Columns columns;
    for (const Field &name : names) {
        const Column *const column = layout.find(name.text);
        if (column == nullptr) throw FatalError("header row: " + shown(name.text) + " is no column of the layout");
        if (std::ranges::find(columns, column) != columns.end()) throw FatalError("header row: " + shown(name.text) + " twice");
        columns.push_back(column);
    }
    for (const Column *const column : chosen) {
        if (std::ranges::find(columns, column) == columns.end())
            throw FatalError("header row: " + std::to_string(names.size()) + " names, and " + shown(column->name) +
                             " is missing");
    }
    for (const Column *&column : columns) {
        if (std::ranges::find(chosen, column) == chosen.end()) column = nullptr;
    }
    return columns;
}

class CsvConverter
{
public:
    CsvConverter(const Options &options, const Layout &layout, const Columns &columns)
        : columns_(columns), splitter_(options.values.delimiter), converter_(layout, options.values),
          empty_(layout.record_size, '\0')
    {
        // Columns that the CSV lacks are empty.
        for (const Column &column : layout.columns) {
            clear_slot(column, empty_.data() + column.offset);
            if (column.type->family == Family::Packed) converter_.from_csv(column, {"0"}, empty_.data() + column.offset);
        }
    }

    void convert(CsvBlock &block)
    {
        for (const CsvRow &row : block.rows) {
            FailedRow failed{.row = row.number, .line = row.line, .continues = row.continues};
            char *const record = block.converted.output.room(empty_.size());
            if (row.row.problem != nullptr)
                failed.problems.push_back({nullptr, ZEMT_RC_ERROR, std::string("not CSV: ") + row.row.problem});
            else
                convert(row.row.text, record, failed);
            if (failed.problems.empty()) {
                block.converted.output.add(empty_.size());
                continue;
            }
            failed.bytes = {row.row.text.data(), row.row.size};
            block.converted.failed.push_back(std::move(failed));
        }
    }

private:
    void convert(std::string_view row, char *record, FailedRow &failed)
    {
        const std::vector<Field> &fields = splitter_.split(row, columns_.size());
        if (splitter_.count() != columns_.size()) {
            failed.problems.push_back(
                {nullptr, ZEMT_RC_ERROR,
                 std::to_string(splitter_.count()) + " fields for " + std::to_string(columns_.size()) + " columns"});
            return;
        }
        std::copy(empty_.begin(), empty_.end(), record);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const Column *const column = columns_[i];
            if (column == nullptr) continue;
            try_value(
                failed, *column, [&] { converter_.from_csv(*column, fields[i], record + column->offset); },
                [&](const std::string &message) {
                    const std::string value = message.starts_with('"') ? "" : shown(fields[i].text) + ": ";
                    return value + message + "; expected " + column->expected();
                });
        }
    }

    const Columns &columns_;
    FieldSplitter splitter_;
    Converter converter_;
    std::string empty_;
};

}  // namespace

void records_to_csv(const Options &options, const Layout &layout, Input &input, Output &output, Report &report)
{
    const Columns columns = chosen_columns(options, layout);
    if (options.header) {
        Buffer header;
        for (const Column *const column : columns) {
            append_text(header, column->name, options.values.delimiter);
            header.append(options.values.delimiter);
        }
        header.cut(header.size() - 1);
        header.append('\n');
        output.write(header.view());
    }
    RecordReader reader(options, layout, input);
    run_pipeline<RecordBlock, RecordConverter>(
        options.jobs, [&] { return RecordConverter(options, layout, columns); },
        [&](RecordBlock &block) { return reader.read(block); },
        [](RecordBlock &block, RecordConverter &converter) { converter.convert(block); },
        [&](RecordBlock &block) {
            const std::size_t rows = (block.input.size() + layout.record_size - 1) / layout.record_size;
            write_block(block.converted, rows, output, report);
        },
        [&] { input.cancel(); });
}

void csv_to_records(const Options &options, const Layout &layout, Input &input, Output &output, Report &report)
{
    Columns columns = chosen_columns(options, layout);
    CsvReader reader(options, layout, input);
    CsvBlock start;
    if (options.header) {
        if (!reader.read(start, 1)) throw FatalError("the input has no header row");
        const Row &header = start.rows.front().row;
        if (header.problem != nullptr) throw FatalError(std::string("header row: not CSV: ") + header.problem);
        columns = columns_of_header(layout, columns,
                                    FieldSplitter(options.values.delimiter).split(header.text, layout.columns.size() + 1));
        report.set_reject_header(with_line_end({header.text.data(), header.size}));
    }
    reader.take_blank_lines(columns.size() == 1);

    uint64_t left = options.count;
    for (uint64_t skip = options.skip; skip > 0 && reader.read(start, skip);) skip -= start.count;
    run_pipeline<CsvBlock, CsvConverter>(
        options.jobs, [&] { return CsvConverter(options, layout, columns); },
        [&](CsvBlock &block) {
            const bool any = left > 0 && reader.read(block, left);
            left -= any ? block.count : 0;
            return any;
        },
        [](CsvBlock &block, CsvConverter &converter) { converter.convert(block); },
        [&](CsvBlock &block) { write_block(block.converted, block.count, output, report); }, [&] { input.cancel(); });
}

}  // namespace recordcsv
