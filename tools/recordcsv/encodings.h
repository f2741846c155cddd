// 8-bit texts in encodings other than UTF-8, by the platform's iconv.
#pragma once

#include <iconv.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace recordcsv {

struct Encoding {
    // Throws FatalError where there is no such encoding, or none whose blank is one byte.
    explicit Encoding(const std::string &name);
    ~Encoding();
    Encoding(const Encoding &) = delete;
    Encoding &operator=(const Encoding &) = delete;

    char blank() const;
    // Characters that a text becomes, or -1 where it has one that is none.
    int32_t decode(std::string_view text, wchar_t *characters, std::size_t room) const;
    // Bytes that characters become, or -1 where one has no place in the encoding or there is no room.
    int32_t encode(const wchar_t *characters, int32_t count, char *text, std::size_t room) const;

private:
    iconv_t to_wide_;
    iconv_t from_wide_;
};

}  // namespace recordcsv
