#include "files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace recordcsv {
namespace {

constexpr std::size_t buffer_size = 1 << 16;

File open_file(const std::string &path, const char *mode)
{
    File file(std::fopen(path.c_str(), mode));
    if (!file) throw FatalError::of_errno(path);
    return file;
}

// A stream of this program's own on one of the standard descriptors.
File open_standard(int descriptor, const char *mode)
{
    const int own = dup(descriptor);
    File file(own < 0 ? nullptr : fdopen(own, mode));
    if (!file) throw FatalError::of_errno("standard stream");
    return file;
}

uint64_t regular_size(std::FILE *file)
{
    struct stat status {
    };
    return fstat(fileno(file), &status) == 0 && S_ISREG(status.st_mode) ? static_cast<uint64_t>(status.st_size) : 0;
}

}  // namespace

Input::Input(const std::string &path)
    : name_(path == "-" ? "standard input" : path),
      file_(path == "-" ? open_standard(STDIN_FILENO, "rb") : open_file(path, "rb")), buffer_(buffer_size),
      size_(regular_size(file_.get()))
{
}

bool Input::refill()
{
    next_ = 0;
    end_ = std::fread(buffer_.data(), 1, buffer_.size(), file_.get());
    if (std::ferror(file_.get())) throw FatalError::of_errno(name_);
    position_ += end_;
    return end_ != 0;
}

std::size_t Input::read(std::span<std::byte> bytes)
{
    std::size_t done = 0;
    while (done != bytes.size() && (next_ != end_ || refill())) {
        const std::size_t piece = std::min(bytes.size() - done, end_ - next_);
        std::memcpy(bytes.data() + done, buffer_.data() + next_, piece);
        done += piece;
        next_ += piece;
    }
    return done;
}

bool Input::read_line(std::string &text, std::size_t longest)
{
    bool found = false;
    while (next_ != end_ || refill()) {
        const std::string_view rest(buffer_.data() + next_, end_ - next_);
        const std::size_t line_end = rest.find_first_of("\r\n");
        const std::string_view piece = rest.substr(0, line_end == std::string_view::npos ? line_end : line_end + 1);
        text.append(piece);
        next_ += piece.size();
        found = true;
        if (text.size() > longest) throw FatalError(name_ + ": a row is too long; a quote may be missing");
        if (line_end == std::string_view::npos) continue;
        const bool split_end = text.back() == '\r' && (next_ != end_ || refill()) && buffer_[next_] == '\n';
        if (split_end) text.push_back(buffer_[next_++]);
        break;
    }
    return found;
}

Output::Output(const std::string &path)
    : name_(path == "-" ? "standard output" : path),
      file_(path == "-" ? open_standard(STDOUT_FILENO, "wb") : open_file(path, "wb"))
{
}

void Output::write(std::string_view bytes)
{
    if (bytes.empty()) return;
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size()) throw FatalError::of_errno(name_);
}

void Output::finish()
{
    if (std::fclose(file_.release()) != 0) throw FatalError::of_errno(name_);
}

Progress::Progress(const Input &input) : input_(input)
{
    constexpr uint64_t worth_the_wait = 4 << 20;
    shown_ = input.size() > worth_the_wait && isatty(STDERR_FILENO) != 0;
}

void Progress::draw()
{
    constexpr std::size_t width = 50;
    const uint64_t percent = std::min<uint64_t>(100, input_.position() * 100 / input_.size());
    std::string bar(percent * width / 100, '=');
    bar.resize(width, ' ');
    std::fprintf(stderr, "\r[%s] %3d%%", bar.c_str(), static_cast<int>(percent));
    next_ = (percent + 1) * input_.size() / 100;
}

void Progress::clear()
{
    if (!shown_) return;
    std::fputs("\r\33[K", stderr);
    next_ = 0;
}

}  // namespace recordcsv
