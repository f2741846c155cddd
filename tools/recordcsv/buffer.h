// Bytes that are appended, without being cleared first. Behind them some more may be read, whatever they are, so that short texts
// can be taken without a branch on their length.
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <string_view>

namespace recordcsv {

constexpr std::size_t readable_behind = 32;

class Buffer
{
public:
    // Room for so many bytes behind what there is.
    char *room(std::size_t size)
    {
        if (capacity_ - size_ < size) grow(size);
        return bytes_.get() + size_;
    }
    void append(std::string_view bytes)
    {
        if (bytes.empty()) return;
        std::memcpy(room(bytes.size()), bytes.data(), bytes.size());
        size_ += bytes.size();
    }
    // The same for bytes behind which readable_behind more can be read.
    void append_padded(std::string_view bytes)
    {
        if (bytes.size() > readable_behind) return append(bytes);
        std::memcpy(room(readable_behind), bytes.data(), readable_behind);
        size_ += bytes.size();
    }
    void append(char byte)
    {
        *room(1) = byte;
        ++size_;
    }
    // Counts bytes that have been written into the room.
    void add(std::size_t size) { size_ += size; }
    void cut(std::size_t size) { size_ = size; }
    // Drops bytes at the start.
    void drop(std::size_t size)
    {
        if (size > 0) std::memmove(bytes_.get(), bytes_.get() + size, size_ -= size);
    }

    std::size_t size() const { return size_; }
    char *data() { return bytes_.get(); }
    std::string_view view() const { return {bytes_.get(), size_}; }

private:
    void grow(std::size_t size)
    {
        capacity_ = 2 * capacity_ + size;
        auto larger = std::make_unique_for_overwrite<char[]>(capacity_ + readable_behind);
        if (size_ != 0) std::memcpy(larger.get(), bytes_.get(), size_);
        bytes_ = std::move(larger);
    }

    std::unique_ptr<char[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

}  // namespace recordcsv
