// Input and output that report every failure. Output comes under its name when it is complete, and not before.
#pragma once

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>

#include "buffer.h"

namespace recordcsv {

enum ExitStatus {
    Converted = 0,
    SomeRejected = 1,  // complete but for the rows that were set aside
    Unusable = 2,      // arguments, layout, header or a file that cannot be opened: nothing has been converted
    Stopped = 3,       // at a row that failed, without --rejects or behind --max-errors
    FileFailed = 4,    // reading or writing failed half-way, as on a full disk
    PipeClosed = 5     // nobody reads the output any more
};                     // 128 + signal: interrupted

// Ends the run: a file, a layout or the arguments are at fault, not a value.
struct FatalError : std::runtime_error {
    FatalError(ExitStatus exit_status, const std::string &why) : std::runtime_error(why), status(exit_status) {}
    explicit FatalError(const std::string &why) : FatalError(Unusable, why) {}

    static FatalError of_errno(ExitStatus status, const std::string &name)
    {
        return {status, name + ": " + std::strerror(errno)};
    }

    ExitStatus status;
};

// A file of which there may be another name. No two are the same where one is no regular file.
struct Identity {
    uint64_t device = 0;
    uint64_t inode = 0;
    bool regular = false;

    bool operator==(const Identity &other) const
    {
        return regular && other.regular && device == other.device && inode == other.inode;
    }
};

// "-" is standard input.
class Input
{
public:
    explicit Input(const std::string &path);
    ~Input();
    Input(const Input &) = delete;
    Input &operator=(const Input &) = delete;

    // Fills the room as far as the input goes and returns how many bytes there were.
    std::size_t read(char *room, std::size_t size);
    // Makes read end soon, also while another thread waits in it for a pipe.
    void cancel() { cancelled_ = true; }
    // Passes over bytes, as far as there are any.
    void skip(uint64_t size);

    const std::string &name() const { return name_; }
    uint64_t position() const { return position_; }
    uint64_t size() const { return size_; }  // 0 where the input is no regular file
    const Identity &identity() const { return identity_; }

private:
    std::string name_;
    int descriptor_;
    bool wait() const;

    std::atomic<bool> cancelled_ = false;
    std::atomic<uint64_t> position_ = 0;
    uint64_t size_ = 0;
    Identity identity_;
};

// "-" is standard output. A file is written beside its place and moved there by place; without that it leaves no trace.
// Devices, pipes and standard output are written directly.
class Output
{
public:
    explicit Output(const std::string &path);
    ~Output();
    Output(const Output &) = delete;
    Output &operator=(const Output &) = delete;

    void write(std::string_view bytes);
    void complete();  // everything is written
    void place();     // and stands under its name

    uint64_t written() const { return written_ + pending_.size(); }

private:
    void flush(std::string_view bytes);

    std::string path_;
    std::string temporary_;  // empty where there is none
    int descriptor_ = -1;
    uint64_t written_ = 0;
    Buffer pending_;
};

// What the file of that name, or the standard stream for "-", is.
Identity identify(const std::string &path, int standard_stream);

// What the file of that name is, or would be: no two names of it are different.
std::string canonical(const std::string &path);

// Opens what is closed of standard input, output and error, so that no other file takes its place.
void open_standard_streams();

// Lets Ctrl-C and its like end the program with 128 + signal, without temporary files and with a message.
void handle_signals();

}  // namespace recordcsv
