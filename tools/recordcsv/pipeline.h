// Blocks through three stages: read and write take turns, one block at a time and in order; convert runs side by side.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace recordcsv {

// read(block) returns whether there was one; convert(block, worker); write(block). What they throw ends the run in the block's
// turn, so that all blocks before it are written. Each thread has a worker and one block at a time, which bounds the memory.
template <typename Block, typename Worker, typename MakeWorker, typename Read, typename Convert, typename Write>
void run_pipeline(int jobs, MakeWorker make_worker, Read read, Convert convert, Write write)
{
    std::mutex reading;
    std::mutex writing;
    std::condition_variable turn;
    uint64_t next_read = 0;
    uint64_t next_written = 0;
    bool ended = false;
    std::exception_ptr failure;

    const auto work = [&] {
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
            try {
                if (failed) std::rethrow_exception(failed);
                write(block);
            } catch (...) {
                failure = std::current_exception();
            }
            ++next_written;
            turn.notify_all();
            if (failure) return;
        }
    };
    std::vector<std::thread> threads;
    for (int i = 1; i < jobs; ++i) threads.emplace_back(work);
    work();
    for (std::thread &thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
}

}  // namespace recordcsv
