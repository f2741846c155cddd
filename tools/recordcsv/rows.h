// CSV rows: a field per value, quotes where they are needed.
#pragma once

#include <csv.h>

#include "files.h"

namespace recordcsv {

// Appends a field, and a comma before it unless the row is empty so far.
class RowWriter
{
public:
    void add(std::string_view field);
    // The row with its line end.
    std::string_view finish();
    void clear();

private:
    std::string row_;
    bool first_ = true;
};

struct Row {
    void clear();
    std::string_view field(std::size_t index) const;
    std::size_t size() const { return ends.size(); }

    std::string raw;                // as it stands in the file
    std::string values;             // of all fields, one behind the other
    std::vector<std::size_t> ends;  // of the fields in values
    bool complete = false;
    std::string problem;  // why the row cannot be read; empty if it can
};

class CsvReader
{
public:
    explicit CsvReader(Input &input);
    ~CsvReader() { csv_free(&parser_); }
    CsvReader(const CsvReader &) = delete;
    CsvReader &operator=(const CsvReader &) = delete;

    // False where there is no row left. Blank lines are no rows.
    bool next(Row &row);

private:
    void start();
    void fail(Row &row);

    Input &input_;
    csv_parser parser_{};
    std::string line_;
    bool at_start_ = true;
};

}  // namespace recordcsv
