// The layout of a file of records.
#pragma once

#include "columns.h"

namespace recordcsv {

struct Layout {
    const Column *find(std::string_view name) const;

    std::vector<Column> columns = {};  // in their order in a record, without what is skipped
    std::vector<Column> fillers = {};
    std::size_t record_size = 0;
};

// Reads a layout file: a line for each column with its name, its type and, for dates and times, a format in quotes; behind a
// type of text the words Trim, which removes the blanks around it, and Encoding with a name, for 8-bit text that is not UTF-8.
// Skip(n) stands for n bytes without a column. '#' begins a comment. Throws FatalError with file and line.
Layout read_layout(const std::string &path);

}  // namespace recordcsv
