#include "files.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

namespace recordcsv {
namespace {

constexpr std::size_t pending_size = std::size_t{1} << 18;

// Temporary files that a signal has to remove. A slot is taken while its first character is set.
constexpr std::size_t most_temporaries = 4;
std::array<std::array<char, PATH_MAX>, most_temporaries> temporaries{};

void remember(const std::string &path)
{
    for (auto &slot : temporaries) {
        if (slot[0] != '\0') continue;
        std::copy(path.begin() + 1, path.end(), slot.begin() + 1);
        slot[path.size()] = '\0';
        slot[0] = path[0];
        return;
    }
}

void forget(const std::string &path)
{
    for (auto &slot : temporaries) {
        if (path == slot.data()) slot[0] = '\0';
    }
}

void on_signal(int signal)
{
    for (const auto &slot : temporaries) {
        if (slot[0] != '\0') unlink(slot.data());
    }
    constexpr std::string_view message = "\nrecordcsv: interrupted; nothing has been put in place\n";
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, message.data(), message.size());
    _exit(128 + signal);
}

Identity identity_of(const struct stat &status)
{
    return {status.st_dev, status.st_ino, S_ISREG(status.st_mode)};
}

// The permissions of a new file: those of the one that it replaces, or what the process's mask leaves.
mode_t permissions(bool exists, const struct stat &status)
{
    if (exists) return status.st_mode & 07777;
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

void handle_signals()
{
    struct sigaction action {
    };
    action.sa_handler = on_signal;
    sigfillset(&action.sa_mask);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        struct sigaction inherited {
        };
        const bool ignored = sigaction(signal, nullptr, &inherited) == 0 && inherited.sa_handler == SIG_IGN;
        if (!ignored) sigaction(signal, &action, nullptr);  // nohup and background jobs stay as they are
    }
    action.sa_handler = SIG_IGN;  // what they tell comes back from write as well
    for (const int signal : {SIGPIPE, SIGXFSZ}) sigaction(signal, &action, nullptr);
}

std::string canonical(const std::string &path)
{
    namespace fs = std::filesystem;
    std::error_code ignored;
    fs::path at = path;
    for (int links = 0; links < 40 && fs::is_symlink(at, ignored); ++links)
        at = at.parent_path() / fs::read_symlink(at, ignored);
    const fs::path canonical = fs::weakly_canonical(fs::absolute(at, ignored), ignored);
    return canonical.empty() ? at.string() : canonical.string();
}

void open_standard_streams()
{
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(descriptor, F_GETFD) < 0) open("/dev/null", O_RDWR);  // which takes the lowest free place
    }
}

Identity identify(const std::string &path, int standard_stream)
{
    struct stat status {
    };
    const bool found = path == "-" ? fstat(standard_stream, &status) == 0 : stat(path.c_str(), &status) == 0;
    return found ? identity_of(status) : Identity{};
}

Input::Input(const std::string &path)
    : name_(path == "-" ? "standard input" : path),
      descriptor_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC))
{
    struct stat status {
    };
    if (descriptor_ < 0 || fstat(descriptor_, &status) != 0) throw FatalError::of_errno(Unusable, name_);
    if (S_ISDIR(status.st_mode)) throw FatalError(name_ + ": Is a directory");
    identity_ = identity_of(status);
    if (identity_.regular) size_ = static_cast<uint64_t>(status.st_size);
#ifdef POSIX_FADV_SEQUENTIAL
    posix_fadvise(descriptor_, 0, 0, POSIX_FADV_SEQUENTIAL);
#endif
}

Input::~Input()
{
    close(descriptor_);
}

// Until there is something to be read; false once that is cancelled.
bool Input::wait() const
{
    constexpr int milliseconds = 100;
    pollfd input{descriptor_, POLLIN, 0};
    while (!cancelled_) {
        if (identity_.regular || poll(&input, 1, milliseconds) != 0) return true;
    }
    return false;
}

std::size_t Input::read(char *room, std::size_t size)
{
    std::size_t done = 0;
    while (done < size && wait()) {
        const ssize_t count = ::read(descriptor_, room + done, size - done);
        if (count == 0) break;
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FatalError::of_errno(FileFailed, name_);
        done += static_cast<std::size_t>(count);
    }
    position_ += done;
    return done;
}

void Input::skip(uint64_t size)
{
    if (identity_.regular && lseek(descriptor_, static_cast<off_t>(size), SEEK_CUR) >= 0) {
        position_ += std::min(size, size_);
        return;
    }
    Buffer passed;
    constexpr std::size_t step = std::size_t{1} << 16;
    while (size > 0) {
        const std::size_t count = read(passed.room(step), static_cast<std::size_t>(std::min<uint64_t>(size, step)));
        if (count == 0) return;
        size -= count;
    }
}

Output::Output(const std::string &path) : path_(path == "-" ? "standard output" : path)
{
    struct stat status {
    };
    const bool exists = path != "-" && stat(path.c_str(), &status) == 0;
    if (path == "-" || (exists && !S_ISREG(status.st_mode))) {
        descriptor_ = path == "-" ? dup(STDOUT_FILENO) : open(path.c_str(), O_WRONLY | O_CLOEXEC);
    } else {
        path_ = canonical(path);  // a link stays one: what it leads to is replaced
        if (exists && access(path_.c_str(), W_OK) != 0) throw FatalError::of_errno(Unusable, path_);
        temporary_ = (std::filesystem::path(path_).parent_path() / ".recordcsv.XXXXXX").string();
        descriptor_ = mkostemp(temporary_.data(), O_CLOEXEC);
        if (descriptor_ >= 0) {
            remember(temporary_);
            fchmod(descriptor_, permissions(exists, status));
        }
    }
    if (descriptor_ < 0) {
        temporary_.clear();
        throw FatalError::of_errno(Unusable, path_);
    }
}

Output::~Output()
{
    if (descriptor_ >= 0) close(descriptor_);
    if (temporary_.empty()) return;
    unlink(temporary_.c_str());
    forget(temporary_);
}

void Output::flush(std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t count = ::write(descriptor_, bytes.data(), bytes.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw FatalError::of_errno(errno == EPIPE ? PipeClosed : FileFailed, path_);
        bytes.remove_prefix(static_cast<std::size_t>(count));
        written_ += static_cast<std::size_t>(count);
    }
}

void Output::write(std::string_view bytes)
{
    if (pending_.size() + bytes.size() > pending_size) {
        const Buffer all = std::move(pending_);
        pending_ = Buffer();
        flush(all.view());
    }
    if (bytes.size() > pending_size)
        flush(bytes);
    else
        pending_.append(bytes);
}

void Output::complete()
{
    const Buffer all = std::move(pending_);
    pending_ = Buffer();
    flush(all.view());
    const int descriptor = descriptor_;
    descriptor_ = -1;
    if (close(descriptor) != 0) throw FatalError::of_errno(FileFailed, path_);
}

void Output::place()
{
    if (temporary_.empty()) return;
    if (rename(temporary_.c_str(), path_.c_str()) != 0) throw FatalError::of_errno(FileFailed, path_);
    forget(temporary_);
    temporary_.clear();
}

}  // namespace recordcsv
