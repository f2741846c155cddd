// Working memory for one call.
#pragma once

#include <cerrno>
#include <cstdlib>

namespace zemt {

// Heap memory, or null with errno as it was.
inline void *allocate(size_t size)
{
    // Volatile, because compilers know that malloc changes no memory of ours and would drop the way back.
    const volatile int saved_errno = errno;
    void *const memory = std::malloc(size);
    errno = saved_errno;
    return memory;
}

// Room for items on the stack or, where they are more than nearly all texts and formats have, on the heap.
template <typename T, size_t on_stack>
class Scratch
{
public:
    explicit Scratch(size_t count) : items_(count <= on_stack ? own_ : static_cast<T *>(allocate(count * sizeof(T)))) {}
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;
    ~Scratch()
    {
        if (items_ != own_) std::free(items_);
    }

    // Not cleared; null where the heap had no room.
    T *items() { return items_; }

private:
    T own_[on_stack];
    T *items_;
};

}  // namespace zemt
