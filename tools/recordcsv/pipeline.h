// Blocks through three stages: read and write take turns, one block at a time and in order; convert runs side by side.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace recordcsv {

// read(block) returns whether there was one; convert(block, worker); write(block). What they throw ends the run in the block's
// turn, so that all blocks before it are written; cancel() then wakes up who waits in read. Each thread has a worker and one
// block at a time.
template <typename Block, typename Worker, typename MakeWorker, typename Read, typename Convert, typename Write,
          typename Cancel>
void run_pipeline(int jobs, MakeWorker make_worker, Read read, Convert convert, Write write, Cancel cancel)
{
    std::mutex reading;
    std::mutex writing;
    std::condition_variable turn;
    uint64_t next_read = 0;
    uint64_t next_written = 0;
    bool ended = false;
    std::exception_ptr failure;

    const auto convert_blocks = [&] {
        Worker worker = make_worker();
        Block block;
        for (;;) {
            std::exception_ptr failed;
            uint64_t number;
            {
                const std::lock_guard lock(reading);
                if (ended) return;
                number = next_read++;
                try {
                    ended = !read(block);
                    if (ended) return;
                } catch (...) {
                    failed = std::current_exception();
                    ended = true;
                }
            }
            try {
                if (!failed) convert(block, worker);
            } catch (...) {
                failed = std::current_exception();
            }
            std::unique_lock lock(writing);
            turn.wait(lock, [&] { return next_written == number || failure; });
            if (failure) return;
            if (failed) std::rethrow_exception(failed);
            write(block);
            ++next_written;
            turn.notify_all();
        }
    };
    const auto work = [&] {
        try {
            convert_blocks();
        } catch (...) {
            const std::lock_guard lock(writing);
            if (!failure) failure = std::current_exception();
            cancel();
            turn.notify_all();
        }
    };
    std::vector<std::thread> threads;
    try {
        for (int i = 1; i < jobs; ++i) threads.emplace_back(work);
    } catch (const std::system_error &) {
        // Those that there are do.
    }
    work();
    for (std::thread &thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace recordcsv
