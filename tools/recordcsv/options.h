// What the command line says.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "values.h"

namespace recordcsv {

enum class Command { None, ToCsv, FromCsv, Check };

struct Options {
    Command command = Command::None;
    std::string layout;
    std::string in = "-";
    std::string out = "-";
    std::string rejects;         // empty: the first row that fails ends the run
    std::string reject_reasons;  // empty: none
    std::vector<std::string> columns;
    bool header = true;
    bool summary = false;
    int jobs = 1;
    uint64_t skip = 0;
    uint64_t count = UINT64_MAX;
    uint64_t max_errors = UINT64_MAX;
    ValueOptions values;
};

// Where there is nothing to be done any more (help, a wrong argument), the command is None and status what to exit with.
Options parse_options(int argc, char **argv, int &status);

}  // namespace recordcsv
