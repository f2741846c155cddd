// Working memory for one call.
#pragma once

#include <cerrno>
#include <cstdlib>

namespace zemt {

// Keeps errno as it is. Volatile, because compilers know that malloc and free change no memory of ours.
class SavedErrno
{
public:
    ~SavedErrno() { errno = saved_; }

private:
    const volatile int saved_ = errno;
};

// Room for items on the stack or, where they are more than nearly all texts and formats have, on the heap.
template <typename T, size_t on_stack>
class Scratch
{
public:
    explicit Scratch(size_t count)
    {
        if (count <= on_stack) return;
        const SavedErrno saved;
        items_ = static_cast<T *>(std::malloc(count * sizeof(T)));
    }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch()
    {
        if (items_ == own_) return;
        const SavedErrno saved;
        std::free(items_);
    }

    // Not cleared; null where the heap had no room.
    T *items() { return items_; }

private:
    T own_[on_stack];
    T *items_ = own_;
};

}  // namespace zemt
