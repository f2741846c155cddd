#include "report.h"

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

#include "csv.h"

namespace recordcsv {
namespace {

constexpr uint64_t most_messages = 100;

double seconds_since(std::chrono::steady_clock::time_point start)
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

}  // namespace

Report::Report(const Options &options, const Input &input)
    : options_(options), input_(input),
      shows_progress_(isatty(STDERR_FILENO) != 0 && !(options.out == "-" && isatty(STDOUT_FILENO) != 0)),
      start_(std::chrono::steady_clock::now()), next_drawing_(start_ + std::chrono::milliseconds(500))
{
    if (!options.rejects.empty()) rejects_.emplace(options.rejects);
    if (!options.reject_reasons.empty()) reasons_.emplace(options.reject_reasons);
    if (reasons_) reasons_->write("row,line,column,status,message\n");
}

void Report::warn(const std::string &warning)
{
    clear_progress();
    std::fprintf(stderr, "recordcsv: warning: %s\n", warning.c_str());
}

void Report::tell(const FailedRow &failed, const Problem &problem)
{
    if (++messages_ > most_messages) return;
    const std::string line = failed.line > 0 ? ":" + std::to_string(failed.line) : "";
    const std::string column = problem.column != nullptr ? ", column " + problem.column->name : "";
    clear_progress();
    std::fprintf(stderr, "%s%s: row %llu%s: %s\n", input_.name().c_str(), line.c_str(),
                 static_cast<unsigned long long>(failed.row), column.c_str(), problem.message.c_str());
}

void Report::tell_how_many_more()
{
    if (messages_ <= most_messages) return;
    std::fprintf(stderr, "... and %llu more messages\n", static_cast<unsigned long long>(messages_ - most_messages));
}

void Report::reject(const FailedRow &failed)
{
    for (const Problem &problem : failed.problems) {
        if (failed.continues) break;
        tell(failed, problem);
        if (!reasons_) continue;
        Buffer reason;
        reason.append(std::to_string(failed.row) + ',' + (failed.line > 0 ? std::to_string(failed.line) : "") + ',');
        append_text(reason, problem.column != nullptr ? problem.column->name : "", ',');
        reason.append(',' + std::to_string(problem.status) + ',');
        append_text(reason, problem.message, ',');
        reason.append('\n');
        reasons_->write(reason.view());
    }
    rejected_ += failed.continues ? 0 : 1;
    const bool too_many = rejected_ > options_.max_errors;
    if (!rejects_ || too_many) rows_ = failed.row - options_.skip;
    if (!rejects_) throw FatalError(Stopped, "stopped; with --rejects FILE the other rows are converted");
    if (rejected_ == 1 && !failed.continues) rejects_->write(reject_header_);
    rejects_->write(failed.bytes);
    line_open_ = failed.line > 0 && !failed.bytes.ends_with('\n');
    if (too_many) throw FatalError(Stopped, "stopped behind " + std::to_string(rejected_) + " rows that failed");
}

void Report::add(uint64_t rows)
{
    rows_ += rows;
    if (shows_progress_ && std::chrono::steady_clock::now() >= next_drawing_) draw_progress();
}

void Report::draw_progress()
{
    constexpr std::size_t width = 40;
    if (input_.size() > 0) {
        const double part = std::min(1.0, static_cast<double>(input_.position()) / static_cast<double>(input_.size()));
        std::string bar(static_cast<std::size_t>(part * width), '=');
        bar.resize(width, ' ');
        std::fprintf(stderr, "\r[%s] %3d%%, %llu rows", bar.c_str(), static_cast<int>(part * 100),
                     static_cast<unsigned long long>(rows_));
    } else {
        std::fprintf(stderr, "\r%llu rows, %.1f MB", static_cast<unsigned long long>(rows_),
                     static_cast<double>(input_.position()) / 1e6);
    }
    drawn_ = true;
    next_drawing_ = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
}

void Report::clear_progress()
{
    if (drawn_) std::fputs("\r\33[K", stderr);
    drawn_ = false;
}

void Report::summarize(uint64_t written_bytes)
{
    const bool was_drawn = shows_progress_ && seconds_since(start_) > 0.5;
    clear_progress();
    tell_how_many_more();
    const auto number = [](uint64_t value) { return static_cast<unsigned long long>(value); };
    if (rejected_ > 0 && !options_.rejects.empty())
        std::fprintf(stderr, "%llu of %llu rows rejected\n", number(rejected_), number(rows_));
    if (was_drawn) std::fprintf(stderr, "%llu rows in %.1f s\n", number(rows_), seconds_since(start_));
    if (!options_.summary) return;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::fprintf(stderr,
                 "{\"read\": %llu, \"written\": %llu, \"rejected\": %llu, \"seconds\": %.3f, \"bytes_read\": %llu, "
                 "\"bytes_written\": %llu, \"peak_kib\": %ld}\n",
                 number(rows_), number(rows_ - rejected_), number(rejected_), seconds_since(start_), number(input_.position()),
                 number(written_bytes), usage.ru_maxrss);
}

ExitStatus Report::finish(Output &output)
{
    if (rejects_ && line_open_) rejects_->write("\n");
    output.complete();
    if (rejects_) rejects_->complete();
    if (reasons_) reasons_->complete();
    output.place();
    if (rejects_) rejects_->place();
    if (reasons_) reasons_->place();
    summarize(output.written());
    return rejected_ == 0 ? Converted : SomeRejected;
}

// What has been set aside before a run stopped is worth keeping.
void Report::fail(const FatalError &error)
{
    if (error.status == Stopped) {
        for (std::optional<Output> *const kept : {&rejects_, &reasons_}) {
            if (!*kept) continue;
            (*kept)->complete();
            (*kept)->place();
        }
    }
    summarize(0);
}

}  // namespace recordcsv
