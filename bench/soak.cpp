// Load and odd surroundings: all families in many threads that share formats, interrupted by signals, between forks, on small
// stacks, in locales, rounding modes and sandboxes of their own: soak SECONDS. Every result has to be what it is in peace.
#include <fcntl.h>
#include <linux/seccomp.h>
#include <locale.h>
#include <pthread.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cfenv>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include <thread>
#include <vector>

#include "zemt.h"

namespace {

constexpr size_t threads = 16;
constexpr size_t small_stack = 64 * 1024;
const wchar_t pattern[] = L"%YYYY-%MM-%DD %HH24:%MI:%SS.%FFFFFF %MONTH %PM";

ZEMTFmtItem list[std::size(pattern)];
ZEMTDateFormat date_format{};
ZEMTCnvParms shared{};

// What the calls leave, byte for byte. Nothing here takes memory.
struct Results {
    char bytes[6000];
    size_t size = 0;

    void add(const void *from, size_t count)
    {
        memcpy(bytes + size, from, count);
        size += count;
    }

    void call(ZEMTConversion *convert, const void *src, int32_t length, const ZEMTCnvParms *parms)
    {
        char dst[800] = {};
        int32_t out_length = 0;
        errno = 77;
        const int32_t status = convert(src, &length, dst, 700, &out_length, parms);
        const int32_t cells[] = {status, length, out_length, errno};
        add(cells, sizeof cells);
        add(dst, 200);
    }

    bool operator==(const Results &other) const { return size == other.size && memcmp(bytes, other.bytes, size) == 0; }
};

// Every family, once. Texts of floating-point numbers are read where the surroundings leave their meaning alone.
Results run(bool in_default_environment)
{
    Results results;
    const ZEMTTS ts{2024, 2, 29, 23, 59, 58, 123456, {}};
    const double number = 4e-310;
    const uint32_t signalling = 0x7F800001;  // not a number
    const int64_t integer = INT64_MIN;
    const unsigned char packed[] = {0x01, 0x23, 0x45, 0x67, 0x89, 0x01, 0x23, 0x4C}, varnum[] = {4, 0xC2, 2, 0x18, 0x2E};
    const char mixed[] = "K\xC3\xB6ln, \xE6\x9D\xB1\xE4\xBA\xAC \xF0\x9F\x98\x80 and a tail of ASCII that is long enough";
    wchar_t blanks[] = L"  a \t b  ";
    int32_t length = 9, field = 0;
    results.call(ZEMTCnvVarcharSzToWVarcharSz, mixed, 0, nullptr);
    results.call(ZEMTCnvWVarcharSzToVarchar, L"\x6771\x4EAC \x1F600 and more", 0, nullptr);
    results.call(ZEMTCnvLongLongToWVarcharSz, &integer, 0, nullptr);
    results.call(ZEMTCnvWVarcharSzToLongLong, L"-9223372036854775808", 0, nullptr);
    results.call(ZEMTCnvDblToWVarcharSz, &number, 0, nullptr);
    results.call(ZEMTCnvFltToWVarcharSz, &signalling, 0, nullptr);
    results.call(ZEMTCnvWVarcharSzToFlt, L"1e39", 0, nullptr);
    results.call(ZEMTCnvDecKestToWVarcharSz, packed, 0, &shared);
    results.call(ZEMTCnvWVarcharSzToDecKest, L"12345678901234", 0, &shared);
    results.call(ZEMTCnvOraVarnumToWVarcharSz_Unsigned, varnum, 0, nullptr);
    results.call(ZEMTCnvVarcharSz_UnsignedToOraVarnum, "123456789.0125", 0, nullptr);
    results.call(ZEMTCnvZEMTTSToVarcharSz, &ts, 0, &shared);
    results.call(ZEMTCnvDateTimeSzToZEMTTS, "2024-02-29 23:59:58.123456 february PM", 0, &shared);
    results.call(ZEMTCnvDateTimeSzToZEMTTS, "2023-02-29", 0, &shared);
    if (in_default_environment) results.call(ZEMTCnvWVarcharSzToDbl, L"12345e-3", 0, nullptr);
    ZEMTFmtItem items[8];
    int32_t kind = ZEMT_KIND_DATE;
    ZEMTDate date{0, 0, 0, {}, L"%DD.%MM.%YYYY"};
    unsigned char built[ZEMT_SIZE_ORA_VARNUM] = {}, pairs[] = {12, 34};
    wchar_t fixed[32];
    uint16_t units[80];
    const int32_t statuses[] = {ZEMTGetFormatCodes(date.formatText, items, &kind),
                                ZEMTDateCharToDate("24.12.2023", &date),
                                ZEMTValidateDateTime(&ts, 3),
                                ConvertBCDToOraVarNum(built, pairs, 2, 2, '-'),
                                ZEMTGetStringFromTS(&ts, fixed, 32, &length),
                                Convert8To16(units, 80, mixed, sizeof mixed, &field)};
    results.add(statuses, sizeof statuses);
    results.add(&date, 6);
    results.add(built, sizeof built);
    results.add(fixed, sizeof fixed[0] * 26);
    results.add(units, sizeof units[0] * static_cast<size_t>(field));
    TrimSpacesW(blanks, &(length = 9), 1, 1);
    results.add(blanks, sizeof blanks[0] * static_cast<size_t>(length));
    TrimAllSpacesTabsW(blanks, &length);
    results.add(blanks, sizeof blanks);
    ZEMTCnvVarcharSzToInt("x-42", &field, 1, 3);
    results.add(&field, sizeof field);
    FloatToString(0.1, blanks, 0);
    results.add(blanks, sizeof blanks);
    return results;
}

Results wanted, wanted_without_reading;
std::atomic<int> failures{0};
std::atomic<long> rounds{0};
std::atomic<bool> stop{false};

void check(bool good, const char *what)
{
    if (good) return;
    ++failures;
    fprintf(stderr, "FAILED: %s\n", what);
}

void on_signal(int)
{
    const int saved = errno;
    if (!(run(false) == wanted_without_reading)) ++failures;
    errno = saved;
}

// The surroundings of a thread, by its number: plain, rounding up with subnormals flushed and exceptions trapped, or another
// locale.
void *work(void *argument)
{
    const auto number = reinterpret_cast<uintptr_t>(argument);
    const bool rounds_up = number % 4 == 1;
    const locale_t locale =
        number % 4 < 2 ? nullptr : newlocale(LC_ALL_MASK, number % 4 == 2 ? "tr_TR.UTF-8" : "fa_IR.UTF-8", nullptr);
    check(number % 4 < 2 || locale != nullptr, "a locale is missing");
    if (locale != nullptr) uselocale(locale);
    if (rounds_up) {
        fesetround(FE_UPWARD);
        feenableexcept(FE_ALL_EXCEPT);
#ifdef __SSE2__
        __builtin_ia32_ldmxcsr(__builtin_ia32_stmxcsr() | 0x8040);
#endif
    }
    for (long i = 0; !stop; ++i, ++rounds)
        check(run(!rounds_up) == (rounds_up ? wanted_without_reading : wanted), "a thread has another result");
    if (locale != nullptr) {
        uselocale(LC_GLOBAL_LOCALE);
        freelocale(locale);
    }
    return nullptr;
}

// What a child of its own does; it ends with 0 where all is well.
template <typename Action>
void in_child(const char *what, Action action)
{
    const pid_t child = fork();
    if (child == 0) syscall(SYS_exit, action() ? 0 : 1);  // exit_group is not allowed in every sandbox
    int status = -1;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    check(WIFEXITED(status) && WEXITSTATUS(status) == 0, what);
}

// Without memory, what takes some fails, and what takes none does not.
bool run_without_memory()
{
    const std::string format_text = "2024-02-29" + std::string(100000, 'x');
    std::string filled(format_text);
    const rlimit none{0, 0};
    setrlimit(RLIMIT_AS, &none);
    while (malloc(100000) != nullptr) {
    }
    char record[24];
    int32_t length = 0, out_length = 0;
    return run(true) == wanted &&
           ZEMTCnvDateTimeSzToZEMTTS(filled.c_str(), &length, record, 24, &out_length, &shared) == ZEMT_RC_ERROR;
}

// Texts that 32 bits cannot count: one piece of memory stands in them again and again.
bool run_beyond_32_bits()
{
    constexpr size_t piece = 1 << 21, pieces = 1 << 10;
    const int file = memfd_create("piece", 0);
    if (file < 0 || ftruncate(file, piece) != 0) return false;
    void *const memory =
        mmap(nullptr, (pieces + 1) * piece, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (memory == MAP_FAILED) return false;
    auto *const text = static_cast<wchar_t *>(memory);  // 2^29 characters, and a terminator behind them
    for (size_t i = 0; i < pieces; ++i) {
        if (mmap(static_cast<char *>(memory) + i * piece, piece, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED, file, 0) ==
            MAP_FAILED)
            return false;
    }
    std::fill_n(text, piece / sizeof *text, wchar_t{0x7FFFFFFF});
    constexpr int32_t characters = INT32_MAX / 6 + 1;  // of 6 bytes each
    wchar_t dst[8];
    int32_t count = 0, length = 0, too_many = 1 << 30;
    return Convert32To8(nullptr, 0, text, characters, &count) == ZEMT_RC_NO_SPACE && count == INT32_MAX &&
           ZEMTCnvWVarcharSzToWVarcharSz(text, &length, dst, 8, &count, nullptr) == ZEMT_RC_ERROR &&
           ZEMTCnvDateTimeCharToZEMTTS(text, &too_many, dst, 24, &count, &shared) == ZEMT_RC_ERROR;
}

}  // namespace

int main(int argc, char **argv)
{
    const int seconds = argc > 1 ? atoi(argv[1]) : 60;
    int32_t kind = ZEMT_KIND_DATE;
    check(ZEMTGetFormatCodes(pattern, list, &kind) == ZEMT_RC_OK, "the format");
    date_format.formatCodes = list;
    date_format.formatLength = static_cast<int32_t>(wcslen(pattern));
    shared.dateFormat = &date_format;
    shared.precision = 14;
    wanted = run(true);
    wanted_without_reading = run(false);

    in_child("texts that 32 bits cannot count", run_beyond_32_bits);

    struct sigaction action {
    };
    action.sa_handler = on_signal;
    action.sa_flags = SA_RESTART;
    sigaction(SIGALRM, &action, nullptr);
    const itimerval often{{0, 2000}, {0, 2000}};
    setitimer(ITIMER_REAL, &often, nullptr);

    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, small_stack);
    std::vector<pthread_t> workers(threads);
    for (size_t i = 0; i < threads; ++i)
        check(pthread_create(&workers[i], &attributes, work, reinterpret_cast<void *>(i)) == 0, "a thread");

    int forks = 0;
    for (const auto end = time(nullptr) + seconds; time(nullptr) < end; ++forks) {
        in_child("a child has another result", [] { return run(true) == wanted; });
        in_child("a child in a sandbox without calls of the kernel has another result", [] {
            prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
            return run(true) == wanted;
        });
        in_child("a child without memory", run_without_memory);
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    stop = true;
    for (const pthread_t worker : workers) pthread_join(worker, nullptr);
    printf("%zu threads on stacks of %zu KiB: %ld rounds of every family, %d times three forks, %d failures\n", threads,
           small_stack / 1024, rounds.load(), forks, failures.load());
    return failures == 0 ? 0 : 1;
}
