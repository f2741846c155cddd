// recordcsv converts files of records with a fixed layout to CSV and back.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>
#include <optional>

#include "layout.h"
#include "rows.h"
#include "values.h"

namespace recordcsv {
namespace {

enum ExitStatus { Converted = 0, ValuesFailed = 1, NotRun = 2 };

struct Arguments {
    std::string layout;
    std::string in = "-";
    std::string out = "-";
    std::string rejects;
};

// A row has failed and there is no file to set it aside in.
struct Stopped {
};

// Everything a run reads and writes.
class Run
{
public:
    explicit Run(const Arguments &arguments)
        : layout(read_layout(arguments.layout)), input(arguments.in), output(arguments.out), progress_(input)
    {
        if (!arguments.rejects.empty()) rejects_.emplace(arguments.rejects);
    }

    void next_row()
    {
        ++row_;
        progress_.update();
    }

    void report(const std::string &problem)
    {
        progress_.clear();
        std::cerr << "row " << row_ << problem << '\n';
        if (!rejects_) throw Stopped{};
    }

    void report(const Column &column, const ValueFailure &failure)
    {
        report(", column " + column.name + ": " + failure.what());
    }

    // Sets a row aside, and the header before the first one.
    void reject(std::string_view header, std::string_view row)
    {
        if (rejected_++ == 0) rejects_->write(header);
        rejects_->write(row);
    }

    ExitStatus finish()
    {
        progress_.clear();
        output.finish();
        if (rejects_) rejects_->finish();
        if (rejected_ == 0) return Converted;
        std::cerr << rejected_ << " of " << row_ << " rows rejected\n";
        return ValuesFailed;
    }

    ExitStatus stop()
    {
        output.finish();
        std::cerr << "stopped; with --rejects FILE the other rows are converted\n";
        return ValuesFailed;
    }

    const Layout layout;
    Input input;
    Output output;

private:
    std::optional<Output> rejects_;
    Progress progress_;
    uint64_t row_ = 0;
    uint64_t rejected_ = 0;
};

std::string_view as_text(std::span<const std::byte> bytes)
{
    return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

template <typename Bytes>
Bytes slot_of(const Column &column, Bytes record)
{
    return record.subspan(column.offset, static_cast<std::size_t>(column.slot_size()));
}

// Converts the values of a row one by one and reports each that fails. Returns whether all went well.
template <typename Conversion>
bool convert_row(Run &run, Conversion convert)
{
    bool converted = true;
    for (std::size_t index = 0; index < run.layout.columns.size(); ++index) {
        const Column &column = run.layout.columns[index];
        try {
            convert(index, column);
        } catch (const ValueFailure &failure) {
            run.report(column, failure);
            converted = false;
        }
    }
    return converted;
}

void records_to_csv(Run &run)
{
    RowWriter row;
    for (const Column &column : run.layout.columns) row.add(column.name);
    run.output.write(row.finish());

    Converter converter;
    std::vector<std::byte> buffer(run.layout.record_size);
    while (const std::size_t size = run.input.read(buffer)) {
        const std::span<const std::byte> record(buffer.data(), size);
        run.next_row();
        row.clear();
        if (size != buffer.size()) {
            run.report(": incomplete record, " + std::to_string(size) + " of " + std::to_string(buffer.size()) + " bytes");
            run.reject({}, as_text(record));
        } else if (convert_row(run, [&](std::size_t, const Column &column) {
                       row.add(converter.to_csv(column, slot_of(column, record)));
                   })) {
            run.output.write(row.finish());
        } else {
            run.reject({}, as_text(record));
        }
    }
}

void check_header(const Layout &layout, const Row &header)
{
    if (!header.problem.empty()) throw FatalError("header row: " + header.problem);
    if (header.size() != layout.columns.size()) {
        throw FatalError("header row: " + std::to_string(header.size()) + " names for " +
                         std::to_string(layout.columns.size()) + " columns");
    }
    for (std::size_t index = 0; index < header.size(); ++index) {
        const std::string &expected = layout.columns[index].name;
        if (header.field(index) == expected) continue;
        throw FatalError("header row: " + shown(header.field(index)) + " where the layout has " + shown(expected));
    }
}

// Why a row cannot be a record of the layout; empty where it can.
std::string problem_of(const Layout &layout, const Row &row)
{
    if (!row.problem.empty()) return ": " + row.problem;
    if (row.size() == layout.columns.size()) return {};
    return ": " + std::to_string(row.size()) + " fields for " + std::to_string(layout.columns.size()) + " columns";
}

std::string with_line_end(const std::string &raw)
{
    return raw.ends_with('\n') || raw.ends_with('\r') ? raw : raw + '\n';
}

void csv_to_records(Run &run)
{
    CsvReader reader(run.input);
    Row row;
    if (!reader.next(row)) throw FatalError("the input has no header row");
    check_header(run.layout, row);
    const std::string header = with_line_end(row.raw);

    Converter converter;
    std::vector<std::byte> buffer(run.layout.record_size);
    const std::span<std::byte> record(buffer);
    while (reader.next(row)) {
        run.next_row();
        const std::string problem = problem_of(run.layout, row);
        if (!problem.empty()) {
            run.report(problem);
            run.reject(header, with_line_end(row.raw));
        } else if (convert_row(run, [&](std::size_t index, const Column &column) {
                       converter.from_csv(column, row.field(index), slot_of(column, record));
                   })) {
            run.output.write(as_text(record));
        } else {
            run.reject(header, with_line_end(row.raw));
        }
    }
}

ExitStatus convert(const Arguments &arguments, void (*rows)(Run &run))
{
    Run run(arguments);
    try {
        rows(run);
    } catch (const Stopped &) {
        return run.stop();
    }
    return run.finish();
}

bool same_file(const std::string &left, const std::string &right)
{
    std::error_code ignored;
    return std::filesystem::is_regular_file(left, ignored) && std::filesystem::equivalent(left, right, ignored);
}

// Opening an output empties it.
void check_outputs(const Arguments &arguments)
{
    const std::string files[] = {arguments.layout, arguments.in, arguments.out, arguments.rejects};
    for (std::size_t output = 2; output < std::size(files); ++output) {
        for (std::size_t other = 0; other < output; ++other) {
            const bool in_and_out = files[output] == "-" && other < 2;
            std::error_code ignored;
            const bool device =
                std::filesystem::exists(files[output], ignored) && !std::filesystem::is_regular_file(files[output], ignored);
            const bool same_name = files[output] == files[other] && !in_and_out && !device;
            if (same_name || same_file(files[output], files[other])) throw FatalError(files[output] + ": named twice");
        }
    }
}

ExitStatus run_program(int argc, char **argv)
{
    CLI::App app("Converts files of records with a fixed layout to CSV and back.", "recordcsv");
    app.require_subcommand(1);
    app.footer("A layout file has a line for each column: its name, its type and, for dates and times, a format in quotes.\n"
               "Trim behind a type of text removes the blanks around it. '#' begins a comment.\nTypes: " +
               type_names() + ".\n" +
               "Exit status: 0 all rows converted; 1 rows have failed; 2 layout, arguments or files cannot be used.");
    Arguments arguments;
    const auto add_direction = [&](const char *name, const char *description) {
        CLI::App *direction = app.add_subcommand(name, description);
        direction->add_option("LAYOUT", arguments.layout, "Layout file: name, type and options of each column")->required();
        direction->add_option("IN", arguments.in, "Input file; - is standard input (default)");
        direction->add_option("OUT", arguments.out, "Output file; - is standard output (default)");
        direction->add_option("--rejects", arguments.rejects, "Set rows that fail aside in this file and convert the rest");
        return direction;
    };
    const CLI::App *to_csv = add_direction("to-csv", "Records to CSV");
    add_direction("from-csv", "CSV to records");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? Converted : NotRun;
    }
    check_outputs(arguments);
    return convert(arguments, to_csv->parsed() ? records_to_csv : csv_to_records);
}

}  // namespace
}  // namespace recordcsv

int main(int argc, char **argv)
{
    try {
        return recordcsv::run_program(argc, argv);
    } catch (const std::exception &error) {
        std::cerr << "recordcsv: " << error.what() << '\n';
        return recordcsv::NotRun;
    }
}
