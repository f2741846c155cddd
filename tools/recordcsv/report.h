// What a run tells: messages about rows, the rows that are set aside and why, progress, and a summary.
#pragma once

#include <chrono>
#include <optional>

#include "files.h"
#include "options.h"

namespace recordcsv {

// Something wrong with a row, or with its value in a column.
struct Problem {
    const Column *column;  // null: the row as a whole
    int32_t status;
    std::string message;
};

struct FailedRow {
    uint64_t row = 0;        // from 1 on
    uint64_t line = 0;       // of the CSV where it begins; 0 for records
    bool continues = false;  // the row before it, and has been told of
    std::string_view bytes = {};
    std::vector<Problem> problems = {};
};

class Report
{
public:
    Report(const Options &options, const Input &input);
    ~Report() { clear_progress(); }
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;

    // Goes in front of the first row that is set aside.
    void set_reject_header(std::string header) { reject_header_ = std::move(header); }
    // Sets a row aside, or throws FatalError where that is not wanted (any more).
    void reject(const FailedRow &failed);
    void warn(const std::string &warning);
    // To be called as rows are done.
    void add(uint64_t rows);

    // At the end of a run: nothing is put in place before all that has been written is.
    ExitStatus finish(Output &output);
    // At the end of one that has failed.
    void fail(const FatalError &error);

private:
    void tell(const FailedRow &failed, const Problem &problem);
    void tell_how_many_more();
    void draw_progress();
    void clear_progress();
    void summarize(uint64_t written_bytes);

    const Options &options_;
    const Input &input_;
    std::optional<Output> rejects_;
    std::optional<Output> reasons_;
    std::string reject_header_;
    uint64_t rows_ = 0;
    uint64_t rejected_ = 0;
    uint64_t messages_ = 0;
    bool shows_progress_;
    bool drawn_ = false;
    bool line_open_ = false;  // of the rejects, as the last line of a CSV file may be
    std::chrono::steady_clock::time_point start_;
    std::chrono::steady_clock::time_point next_drawing_;
};

}  // namespace recordcsv
