#include "options.h"

#include <CLI/CLI.hpp>
#include <cctype>

#include "files.h"

namespace recordcsv {
namespace {

constexpr const char *layout_help =
    "A layout file has a line for each column: its name, its type and, for dates and times, a format in quotes. Behind a type\n"
    "of text may stand Trim, which removes the blanks around it, and before that, for 8-bit text that is not UTF-8, Encoding\n"
    "with a name (ISO-8859-1, EBCDIC-US ...). DecKest(9,2) has an implied point. A line Skip(n) passes over n bytes, which\n"
    "become 0 on the way back. '#' begins a comment.\n";

constexpr const char *notes =
    "Under %HH with %PM the hour 12 is written \"12 ... AM\" and read back as such, as the library has it; use %HH24 for "
    "others.\n"
    "Exit status: 0 converted; 1 converted but for the rows that were set aside; 2 arguments, layout, header or files that\n"
    "cannot be used; 3 stopped at a row that failed; 4 reading or writing failed, as on a full disk; 5 the pipe was closed by\n"
    "its reader; 128 + signal when interrupted. An output file appears under its name only with the statuses 0 and 1.";

char delimiter_of(const std::string &text)
{
    if (text == "tab" || text == "\\t") return '\t';
    const bool usable = text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x7F && text[0] >= ' ' &&
                        std::string_view("\"+-.").find(text[0]) == std::string_view::npos && isalnum(text[0]) == 0;
    if (!usable) throw CLI::ValidationError("--delimiter", "has to be one character, no letter, digit, quote or one of +-.");
    return text[0];
}

}  // namespace

Options parse_options(int argc, char **argv, int &status)
{
    Options options;
    std::string delimiter = ",";
    std::string floats = "shortest";
    std::string null;
    bool no_header = false;

    CLI::App app("Converts files of records with a fixed layout to CSV and back.", "recordcsv");
    app.require_subcommand(1);
    app.set_version_flag("--version", "recordcsv " RECORDCSV_VERSION);
    app.footer(std::string(layout_help) + "Types: " + type_names() + ".\n" + notes);
    const auto add_direction = [&](const char *name, const char *description) {
        CLI::App *direction = app.add_subcommand(name, description);
        direction->add_option("LAYOUT", options.layout, "Layout file: name, type and options of each column")->required();
        direction->add_option("IN", options.in, "Input file; - is standard input (default)");
        direction->add_option("OUT", options.out, "Output file; - is standard output (default)");
        direction->add_option("--rejects", options.rejects, "Set rows that fail aside in this file and convert the rest");
        direction->add_option("--reject-reasons", options.reject_reasons,
                              "Why they failed, as CSV: row, line, column, status, message");
        direction->add_option("--max-errors", options.max_errors, "Stop at the row that fails behind so many")
            ->needs("--rejects");
        direction->add_option("--columns", options.columns, "Only these columns, in this order: a,b,c")
            ->delimiter(',')
            ->allow_extra_args(false);
        direction->add_option("--delimiter", delimiter, "Between fields, in place of a comma; tab is the tabulator");
        direction->add_flag("--no-header", no_header, "The CSV has no row of names");
        direction->add_option("--null", null, "Field of a slot that is not set, which is then not the empty field");
        direction->add_option("--skip", options.skip, "Pass over so many rows");
        direction->add_option("--count", options.count, "Convert so many rows at most");
        direction->add_option("--jobs", options.jobs, "Threads")->check(CLI::Range(1, 256));
        direction->add_flag("--exact", options.values.exact, "Refuse slots that would not come back bit for bit");
        direction->add_flag("--summary", options.summary, "One line of JSON on standard error at the end");
        return direction;
    };
    CLI::App *const to_csv = add_direction("to-csv", "Records to CSV");
    to_csv->add_option("--floats", floats, "Text of floating-point numbers")->check(CLI::IsMember({"shortest", "scientific"}));
    add_direction("from-csv", "CSV to records");
    CLI::App *const check = app.add_subcommand("check", "Prints the columns of a layout with their offsets and sizes");
    check->add_option("LAYOUT", options.layout, "Layout file")->required();
    try {
        app.parse(argc, argv);
        options.values.delimiter = delimiter_of(delimiter);
        if (null.find_first_of(std::string("\"\r\n") + options.values.delimiter) != std::string::npos)
            throw CLI::ValidationError("--null", "must not hold a delimiter, a quote or a line end");
        if (!is_utf8(null)) throw CLI::ValidationError("--null", "has to be UTF-8");
    } catch (const CLI::ParseError &error) {
        status = app.exit(error) == 0 ? Converted : Unusable;
        return options;
    }
    options.header = !no_header;
    options.values.shortest_floats = floats == "shortest";
    if (!null.empty()) options.values.null = null;  // the empty field stands for it anyway
    options.command = to_csv->parsed() ? Command::ToCsv : check->parsed() ? Command::Check : Command::FromCsv;
    return options;
}

}  // namespace recordcsv
