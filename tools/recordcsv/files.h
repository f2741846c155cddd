// Buffered input and output that report every failure, and the progress bar.
#pragma once

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace recordcsv {

// Ends the run: a file, a layout or the arguments are at fault, not a value.
struct FatalError : std::runtime_error {
    using std::runtime_error::runtime_error;

    static FatalError of_errno(const std::string &name) { return FatalError(name + ": " + std::strerror(errno)); }
};

struct CloseFile {
    void operator()(std::FILE *file) const { std::fclose(file); }
};

using File = std::unique_ptr<std::FILE, CloseFile>;

// "-" is standard input.
class Input
{
public:
    explicit Input(const std::string &path);

    // Fills bytes as far as the input goes and returns how many there were.
    std::size_t read(std::span<std::byte> bytes);

    // Appends a line with its end ("\n", "\r\n" or "\r") to text; false where there is none left.
    bool read_line(std::string &text, std::size_t longest);

    uint64_t position() const { return position_; }
    // 0 where the input is no regular file.
    uint64_t size() const { return size_; }

private:
    bool refill();

    std::string name_;
    File file_;
    std::vector<char> buffer_;
    std::size_t next_ = 0;
    std::size_t end_ = 0;
    uint64_t position_ = 0;
    uint64_t size_ = 0;
};

// "-" is standard output.
class Output
{
public:
    explicit Output(const std::string &path);

    void write(std::string_view bytes);
    // To be called at the end: only then is it known that everything has been written.
    void finish();

private:
    std::string name_;
    File file_;
};

// A bar on standard error, where that is a terminal and the input is worth the wait.
class Progress
{
public:
    explicit Progress(const Input &input);
    ~Progress() { clear(); }
    Progress(const Progress &) = delete;
    Progress &operator=(const Progress &) = delete;

    void update()
    {
        if (shown_ && input_.position() >= next_) draw();
    }
    // Makes way for a message.
    void clear();

private:
    void draw();

    const Input &input_;
    bool shown_;
    uint64_t next_ = 0;
};

}  // namespace recordcsv
