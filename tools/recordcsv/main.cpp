// recordcsv converts files of records with a fixed layout to CSV and back.
#include <unistd.h>

#include <cstdio>

#include "convert.h"

namespace recordcsv {
namespace {

void check_outputs(const Options &options, const Input &input)
{
    const std::string *outputs[] = {&options.out, &options.rejects, &options.reject_reasons};
    for (std::size_t i = 0; i < std::size(outputs); ++i) {
        if (outputs[i]->empty()) continue;
        const Identity output = identify(*outputs[i], STDOUT_FILENO);
        bool twice = output == input.identity() || output == identify(options.layout, STDIN_FILENO);
        for (std::size_t other = 0; other < i; ++other) {
            const bool device = !output.regular && *outputs[i] != "-" && access(outputs[i]->c_str(), F_OK) == 0;
            twice |= (canonical(*outputs[i]) == canonical(*outputs[other]) && !device) ||
                     output == identify(*outputs[other], STDOUT_FILENO);
        }
        if (twice) throw FatalError(*outputs[i] + ": named twice");
    }
}

void warn_of_noon(const Layout &layout, Report &report)
{
    for (const Column &column : layout.columns) {
        if (!column.write_format || !column.write_format->has(ZEMT_FMT_HH) || !column.write_format->has(ZEMT_FMT_PM)) continue;
        return report.warn("column " + column.name + " has %HH with %PM, under which the hour 12 is \"12 ... AM\"");
    }
}

int convert(const Options &options)
{
    const Layout layout = read_layout(options.layout);
    Input input(options.in);
    check_outputs(options, input);
    Output output(options.out);
    Report report(options, input);
    warn_of_noon(layout, report);
    try {
        (options.command == Command::ToCsv ? records_to_csv : csv_to_records)(options, layout, input, output, report);
        return report.finish(output);
    } catch (const FatalError &error) {
        report.fail(error);
        throw;
    }
}

int check(const Options &options)
{
    const Layout layout = read_layout(options.layout);
    std::printf("%8s %8s  %-20s %s\n", "offset", "bytes", "type", "column");
    for (const Column &column : layout.columns) {
        std::string type(column.type->name);
        if (column.type->takes == Takes::Length || column.type->takes == Takes::Precision) {
            type += '(' + std::to_string(column.length);
            if (column.scale > 0) type += ',' + std::to_string(column.scale);
            type += ')';
        }
        std::printf("%8zu %8zu  %-20s %s\n", column.offset, column.slot_size, type.c_str(), column.name.c_str());
    }
    std::printf("%8s %8zu  a record\n", "", layout.record_size);
    if (std::fflush(stdout) != 0) throw FatalError::of_errno(FileFailed, "standard output");
    return Converted;
}

int run(int argc, char **argv)
{
    open_standard_streams();
    int status = Converted;
    const Options options = parse_options(argc, argv, status);
    if (options.command == Command::None) return status;
    if (options.command == Command::Check) return check(options);
    handle_signals();
    return convert(options);
}

}  // namespace
}  // namespace recordcsv

int main(int argc, char **argv)
{
    try {
        return recordcsv::run(argc, argv);
    } catch (const recordcsv::FatalError &error) {
        std::fprintf(stderr, "recordcsv: %s\n", error.what());
        return error.status;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "recordcsv: %s\n", error.what());
        return recordcsv::FileFailed;
    }
}
