// The exported functions of the UTF-8 codec.
#include "utf8.h"

#include "utf8_text.h"
#include "zemt.h"

namespace zemt {

[[gnu::noinline]] int32_t decode_text(char *dst, int32_t capacity, const char *src, int32_t length, int32_t *outCount)
{
    return convert_text<Decoder<Wide>>(dst, capacity, src, length, outCount);
}

[[gnu::noinline]] int32_t encode_text(char *dst, int32_t capacity, const char *src, int32_t count, int32_t *outCount)
{
    return convert_text<Encoder<Wide>>(dst, capacity, src, count, outCount);
}

}  // namespace zemt

using namespace zemt;

int32_t ConvertTo8(char **pdst, int32_t room, uint32_t value, int32_t *status, int32_t *count) noexcept
{
    const int size = encoded_size(value);
    if (value > largest_code_point<Wide>) {
        *status = ZEMT_RC_INVALID_CHAR;
        return 0;
    }
    if (*pdst != nullptr) {
        if (room < size) {
            *status = ZEMT_RC_NO_SPACE;
            return 0;
        }
        encode_sequence(*pdst, value, size);
        *pdst += size;
    }
    *count += size;
    return 1;
}

int32_t ConvertFrom8(uint32_t *value, const char **psrc, int32_t avail, int32_t *status, int32_t *consumed) noexcept
{
    const Sequence sequence = decode_sequence(*psrc, avail);
    *value = sequence.value;
    *consumed = sequence.size;
    if (avail > 0) *psrc += sequence.found == Found::CodePoint ? sequence.size : 1;
    if (sequence.found != Found::CutOff) return 1;
    *status = ZEMT_RC_NO_SPACE;
    return 0;
}

int32_t Convert8To32(wchar_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    if (dst == nullptr) return count_units<Decoder<Wide>>(src, srcLen, outCount);
    return decode_utf8_to_32(bytes(dst), dstCap, src, srcLen, outCount);
}

int32_t Convert32To8(char *dst, int32_t dstCap, const wchar_t *src, int32_t srcCount, int32_t *outCount) noexcept
{
    if (dst == nullptr) return count_units<Encoder<Wide>>(bytes(src), srcCount, outCount);
    return encode_utf8_from_32(dst, dstCap, bytes(src), srcCount, outCount);
}

int32_t Convert8To16(uint16_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) noexcept
{
    if (dst == nullptr) return count_units<Decoder<uint16_t>>(src, srcLen, outCount);
    return convert_text<Decoder<uint16_t>>(bytes(dst), dstCap, src, srcLen, outCount);
}

int32_t Convert16To8(char *dst, int32_t dstCap, const uint16_t *src, int32_t srcCount, int32_t *outCount) noexcept
{
    if (dst == nullptr) return count_units<Encoder<uint16_t>>(bytes(src), srcCount, outCount);
    return convert_text<Encoder<uint16_t>>(dst, dstCap, bytes(src), srcCount, outCount);
}
