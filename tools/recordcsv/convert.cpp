#include "convert.h"

#include <algorithm>

#include "csv.h"
#include "pipeline.h"

namespace recordcsv {
namespace {

// Bytes that a thread reads at a time: enough to be quick, and little where there are many threads.
std::size_t block_size(const Options &options)
{
    constexpr std::size_t all = std::size_t{4} << 20;
    return std::clamp(all / static_cast<std::size_t>(options.jobs), all / 64, all / 4);
}

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

// Calls convert and adds what it throws to the row's problems.
template <typename Convert>
void try_value(FailedRow &row, const Column &column, Convert convert)
{
    try {
        convert();
    } catch (const ValueFailure &failure) {
        row.problems.push_back({&column, failure.status, failure.what()});
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
        : input_(input), block_size_(block_size(options)), size_(layout.record_size), next_row_(options.skip + 1),
          left_(options.count)
    {
        input.skip(std::min(options.skip, static_cast<uint64_t>(INT64_MAX) / layout.record_size) * layout.record_size);
    }

    bool read(RecordBlock &block)
    {
        const uint64_t rows = std::min<uint64_t>(left_, std::max<std::size_t>(1, block_size_ / size_));
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
    std::size_t block_size_;
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
            try_value(failed, *column, [&] { convert(*column, record + column->offset, out); });
            out.append(options_.values.delimiter);
        }
        out.cut(out.size() - 1);
        for (const Column &filler : layout_.fillers) check_filler(record, filler, failed);
        // A blank line would be passed over, or be the field of an unset slot.
        if (out.size() == start && columns_.size() == 1 && failed.problems.empty()) out.append("\"\"");
        out.append('\n');
    }

    void convert(const Column &column, const char *slot, Buffer &out)
    {
        try {
            append_field(out, converter_.to_csv(column, slot));
        } catch (const ValueFailure &failure) {
            throw ValueFailure(failure.status, failure.what() + ("; bytes " + hexadecimal({slot, column.slot_size})));
        }
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
};

struct CsvBlock {
    Buffer input;
    std::vector<CsvRow> rows;
    uint64_t first_row = 0;
    Converted converted;
};

class CsvReader
{
public:
    CsvReader(const Options &options, Input &input)
        : input_(input), block_size_(block_size(options)), finder_(options.values.delimiter),
          blank_rows_(options.columns.size() == 1)
    {
    }

    // A layout of one column has rows that are blank lines.
    void take_blank_lines(bool take) { blank_rows_ = take; }

    // Reads rows, some at a time and at least one; false where there are none left.
    bool read(CsvBlock &block, std::size_t most)
    {
        block.converted.clear();
        block.rows.clear();
        block.input.cut(0);
        block.input.append(rest_.view());
        rest_.cut(0);
        std::size_t at = 0;
        while (block.rows.size() < most) {
            const bool found = find_rows(block, at, most);
            if (found || (ended_ && at == block.input.size())) break;
            fill(block);
        }
        rest_.append(block.input.view().substr(at));
        return !block.rows.empty();
    }

private:
    // Adds the rows that the block has whole, and moves at behind them.
    bool find_rows(CsvBlock &block, std::size_t &at, std::size_t most)
    {
        finder_.forget();
        if (at_start_ && block.input.size() >= 3) {
            at_start_ = false;
            if (block.input.view().starts_with("\xEF\xBB\xBF")) at = 3;
        }
        Row row;
        while (block.rows.size() < most && find_row(block.input.view().substr(at), row)) {
            if (!row.text.empty() || blank_rows_ || row.problem != nullptr) block.rows.push_back({row, line_});
            line_ += row.lines;
            at += row.size;
        }
        return !block.rows.empty();
    }

    bool find_row(std::string_view text, Row &row)
    {
        if (text.empty()) return false;
        if (!finder_.find(text, ended_, row)) {
            if (text.size() <= longest_row) return false;
            row = {text, text.size(), 0};  // a piece of a line
            in_long_line_ = true;
        } else if (!in_long_line_) {
            return true;
        } else {
            in_long_line_ = false;
        }
        row.problem = "a row of more than 16 MiB, set aside in pieces";
        return true;
    }

    // Reads more behind what the block has. Rows point into it, so that there are none yet.
    void fill(CsvBlock &block)
    {
        const std::size_t size = std::max(block_size_, block.input.size());
        const std::size_t count = input_.read(block.input.room(size), size);
        block.input.add(count);
        ended_ = count < size;
        if (ended_ && at_start_ && block.input.size() < 3) at_start_ = false;
    }

    Input &input_;
    std::size_t block_size_;
    RowFinder finder_;
    Buffer rest_;
    bool blank_rows_;
    bool at_start_ = true;
    bool ended_ = false;
    bool in_long_line_ = false;
    uint64_t line_ = 1;
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
        for (std::size_t i = 0; i < block.rows.size(); ++i) {
            const CsvRow &row = block.rows[i];
            FailedRow failed{.row = block.first_row + i, .line = row.line};
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
        const std::vector<Field> &fields = splitter_.split(row);
        if (fields.size() != columns_.size()) {
            failed.problems.push_back(
                {nullptr, ZEMT_RC_ERROR,
                 std::to_string(fields.size()) + " fields for " + std::to_string(columns_.size()) + " columns"});
            return;
        }
        std::copy(empty_.begin(), empty_.end(), record);
        for (std::size_t i = 0; i < fields.size(); ++i) {
            const Column *const column = columns_[i];
            if (column == nullptr) continue;
            try_value(failed, *column, [&] { convert(*column, fields[i], record); });
        }
    }

    void convert(const Column &column, const Field &field, char *record)
    {
        try {
            converter_.from_csv(column, field, record + column.offset);
        } catch (const ValueFailure &failure) {
            std::string message = failure.what();
            if (!message.starts_with('"')) message = shown(field.text) + ": " + message;
            throw ValueFailure(failure.status, message + "; expected " + column.expected());
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
        });
}

void csv_to_records(const Options &options, const Layout &layout, Input &input, Output &output, Report &report)
{
    Columns columns = chosen_columns(options, layout);
    CsvReader reader(options, input);
    CsvBlock start;
    if (options.header) {
        if (!reader.read(start, 1)) throw FatalError("the input has no header row");
        const Row &header = start.rows.front().row;
        if (header.problem != nullptr) throw FatalError(std::string("header row: not CSV: ") + header.problem);
        columns = columns_of_header(layout, columns, FieldSplitter(options.values.delimiter).split(header.text));
        report.set_reject_header(with_line_end({header.text.data(), header.size}));
    }
    reader.take_blank_lines(columns.size() == 1);

    uint64_t next_row = 1;
    uint64_t left = options.count;
    for (uint64_t skip = options.skip; skip > 0;) {
        if (!reader.read(start, skip)) break;
        skip -= start.rows.size();
        next_row += start.rows.size();
    }
    run_pipeline<CsvBlock, CsvConverter>(
        options.jobs, [&] { return CsvConverter(options, layout, columns); },
        [&](CsvBlock &block) {
            block.first_row = next_row;
            const bool any = left > 0 && reader.read(block, left);
            next_row += block.rows.size();
            left -= any ? block.rows.size() : 0;
            return any;
        },
        [](CsvBlock &block, CsvConverter &converter) { converter.convert(block); },
        [&](CsvBlock &block) { write_block(block.converted, block.rows.size(), output, report); });
}

}  // namespace recordcsv
