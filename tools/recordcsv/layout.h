// The layout of a file of records.
#pragma once

#include "columns.h"

namespace recordcsv {

struct Layout {
    std::vector<Column> columns = {};
    std::size_t record_size = 0;
};

// Reads a layout file: a line for each column with its name, its type and, for dates and times, a format in quotes; behind a
// type of text the word Trim may stand, which removes the blanks around it. '#' begins a comment. Throws FatalError with file
// and line.
Layout read_layout(const std::string &path);

}  // namespace recordcsv
