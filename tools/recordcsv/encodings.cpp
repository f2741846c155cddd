#include "encodings.h"

#include <array>
#include <bit>
#include <cstdint>

#include "files.h"

namespace recordcsv {
namespace {

constexpr const char *wide_encoding = "UTF-32LE";

// Bytes written, or -1.
int64_t convert(iconv_t conversion, const char *from, std::size_t from_size, char *to, std::size_t room)
{
    iconv(conversion, nullptr, nullptr, nullptr, nullptr);
    auto *in = const_cast<char *>(from);  // iconv does not write there
    std::size_t left = room;
    if (iconv(conversion, &in, &from_size, &to, &left) != 0) return -1;
    if (iconv(conversion, nullptr, nullptr, &to, &left) != 0) return -1;
    return static_cast<int64_t>(room - left);
}

}  // namespace

Encoding::Encoding(const std::string &name)
    : to_wide_(iconv_open(wide_encoding, name.c_str())), from_wide_(iconv_open(name.c_str(), wide_encoding))
{
    const auto failed = std::bit_cast<iconv_t>(intptr_t{-1});
    std::array<char, 8> blank{};
    const bool known = to_wide_ != failed && from_wide_ != failed;
    if (known && encode(L" ", 1, blank.data(), blank.size()) == 1) return;
    if (to_wide_ != failed) iconv_close(to_wide_);
    if (from_wide_ != failed) iconv_close(from_wide_);
    throw FatalError(known ? "encoding " + name + " is none of single bytes" : "unknown encoding " + name);
}

Encoding::~Encoding()
{
    iconv_close(to_wide_);
    iconv_close(from_wide_);
}

char Encoding::blank() const
{
    char blank = ' ';
    encode(L" ", 1, &blank, 1);
    return blank;
}

int32_t Encoding::decode(std::string_view text, wchar_t *characters, std::size_t room) const
{
    const int64_t size =
        convert(to_wide_, text.data(), text.size(), reinterpret_cast<char *>(characters), room * sizeof(wchar_t));
    return size < 0 ? -1 : static_cast<int32_t>(size / 4);
}

int32_t Encoding::encode(const wchar_t *characters, int32_t count, char *text, std::size_t room) const
{
    const auto size = static_cast<std::size_t>(count) * sizeof(wchar_t);
    return static_cast<int32_t>(convert(from_wide_, reinterpret_cast<const char *>(characters), size, text, room));
}

}  // namespace recordcsv
