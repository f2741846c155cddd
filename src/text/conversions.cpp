// The 21 conversions between text layouts: one template, and a row for each of them.
#include <algorithm>

#include "calling_form.h"
#include "layouts.h"
#include "utf8.h"
#include "vectors/ascii.h"

namespace zemt {
namespace {

enum class Kind { Copy, Narrow, Transcode };
enum class EmptySource { Refused, Allowed };
enum class Reported { Nothing, Taken, WholeSource };

struct Text {
    int32_t status;
    const char *at;
    int32_t count;  // in units
};

// Finds the characters of a source. Those of a VarcharSz are sought within limit only: a copy reads no further than its room.
template <typename Source>
inline Text locate(const void *src, const int32_t *srcLen, int32_t limit)
{
    if constexpr (!Source::prefixed && !Source::terminated) {
        if (srcLen == nullptr) return {ZEMT_RC_EMPTY_SOURCE, nullptr, 0};
        if (*srcLen < 0) return {ZEMT_RC_ERROR, nullptr, 0};
        if (*srcLen < Source::unit) return {ZEMT_RC_EMPTY_SOURCE, nullptr, 0};
        return {src == nullptr ? ZEMT_RC_ERROR : ZEMT_RC_OK, bytes(src), *srcLen / Source::unit};
    } else {
        if (src == nullptr) return {ZEMT_RC_ERROR, nullptr, 0};
        if constexpr (Source::prefixed) {
            const auto prefix = load<int16_t>(src);
            return {prefix < 0 ? ZEMT_RC_ERROR : ZEMT_RC_OK, bytes(src) + prefix_size, prefix / Source::unit};
        } else {
            const int64_t count = limit < INT32_MAX ? static_cast<int64_t>(strnlen(bytes(src), static_cast<size_t>(limit)))
                                                    : terminated_length<typename Source::Unit>(bytes(src));
            const bool countable = count <= INT32_MAX / Source::unit;
            return {countable ? ZEMT_RC_OK : ZEMT_RC_ERROR, bytes(src), countable ? static_cast<int32_t>(count) : 0};
        }
    }
}

// Copies wide characters of a source without terminator: behind a 0 character there are only 0 characters.
inline void copy_up_to_zero(char *dst, const char *src, int32_t count)
{
    int32_t copied = 0;
    for (; copied < count; ++copied) {
        const auto character = load<Wide>(src + ptrdiff_t{copied} * 4);
        if (character == 0) break;
        store(dst + ptrdiff_t{copied} * 4, character);
    }
    std::memset(dst + ptrdiff_t{copied} * 4, 0, static_cast<size_t>(count - copied) * 4);
}

// Characters 0..255 to bytes; false at the first that is none, with those before it written.
inline bool narrow(char *dst, const char *src, int32_t count)
{
    int32_t done = 0;
    for (Bytes16 sixteen; count - done >= 16 && narrow16<Wide>(src + ptrdiff_t{done} * 4, sixteen); done += 16)
        store16(dst + done, sixteen);
    for (; done < count; ++done) {
        const auto character = load<Wide>(src + ptrdiff_t{done} * 4);
        if (character < 0 || character > 0xFF) return false;
        dst[done] = static_cast<char>(character);
    }
    return true;
}

// Stores what surrounds the count units that stand in the destination.
template <typename Destination>
inline void finish(char *dst, int32_t count, bool terminate, int32_t *outLen)
{
    const int32_t size = count * Destination::unit;
    if constexpr (Destination::prefixed) store(dst, static_cast<int16_t>(size));
    if (Destination::terminated && terminate) store(dst + size, typename Destination::Unit{0});
    *outLen = Destination::length_in_units ? count : size + (Destination::prefixed ? prefix_size : 0);
}

template <typename Source, typename Destination, Kind kind, EmptySource empty_source, Reported reported>
inline int32_t convert(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen, const ZEMTCnvParms *parms)
{
    constexpr bool bounded_search = kind == Kind::Copy && Source::terminated && Source::unit == 1;
    const Text text = locate<Source>(src, srcLen, bounded_search ? std::max(dstSize, 0) : INT32_MAX);
    if (text.status != ZEMT_RC_OK) return text.status;
    if (empty_source == EmptySource::Refused && text.count == 0) return ZEMT_RC_EMPTY_SOURCE;
    if (dst == nullptr || dstSize < 0 || dstSize > Destination::largest_size) return ZEMT_RC_ERROR;

    int32_t room = dstSize;
    if (Destination::prefix_in_size) {
        if (room < prefix_size) return ZEMT_RC_NO_SPACE;
        room -= prefix_size;
    }
    if (Destination::prefixed) room = std::min(room, largest_prefix);
    room /= Destination::unit;
    char *const characters = bytes(dst) + (Destination::prefixed ? prefix_size : 0);
    const bool skips = kind == Kind::Transcode && parms != nullptr && parms->skipTranscode != 0;
    int32_t count = skips ? 0 : std::min(text.count, room);

    if constexpr (kind == Kind::Transcode) {
        if (!skips) {
            const int32_t status = Source::unit == 1 ? decode_utf8_to_32(characters, room, text.at, text.count, &count)
                                                     : encode_utf8_from_32(characters, room, text.at, text.count, &count);
            if (status != ZEMT_RC_OK) return status;
        }
    } else if constexpr (kind == Kind::Narrow) {
        if (!narrow(characters, text.at, count)) return ZEMT_RC_ERROR;
    } else if constexpr (Source::unit == 4 && !Source::terminated) {
        copy_up_to_zero(characters, text.at, count);
    } else {
        std::memcpy(characters, text.at, static_cast<size_t>(count) * Source::unit);
    }

    finish<Destination>(bytes(dst), count, !skips, outLen);
    if (reported == Reported::Taken) report_source_length(srcLen, int64_t{count} * Source::unit);
    if (reported == Reported::WholeSource) report_source_length(srcLen, int64_t{text.count} * Source::unit);
    return ZEMT_RC_OK;
}

}  // namespace
}  // namespace zemt

using namespace zemt;

#define CONVERSION(name, source, destination, kind, empty_source, reported)                                                    \
    ZEMT_ROW(name, convert<source, destination, Kind::kind, EmptySource::empty_source, Reported::reported>(                    \
                       src, srcLen, dst, dstSize, outLen, parms))

// clang-format off
//         exported name                     source      destination                kind       empty source  *srcLen receives
CONVERSION(ZEMTCnvCharToVarcharSz,           Char,       VarcharSz,                 Copy,      Refused,      Nothing)
CONVERSION(ZEMTCnvCharToWVarcharSz,          Char,       WVarcharSz,                Transcode, Refused,      Nothing)
CONVERSION(ZEMTCnvWCharToVarcharSz,          WChar,      VarcharSz,                 Narrow,    Refused,      Nothing)
CONVERSION(ZEMTCnvWCharToWVarcharSz,         WChar,      WVarcharSz,                Copy,      Refused,      Nothing)
CONVERSION(ZEMTCnvVarcharToVarcharSz,        Varchar,    VarcharSz,                 Copy,      Refused,      Taken)
CONVERSION(ZEMTCnvVarcharToWVarcharSz,       Varchar,    WVarcharSz,                Transcode, Refused,      WholeSource)
CONVERSION(ZEMTCnvWVarcharToVarcharSz,       WVarchar,   VarcharSz,                 Narrow,    Refused,      Taken)
CONVERSION(ZEMTCnvWVarcharToWVarcharSz,      WVarchar,   WVarcharSz,                Copy,      Refused,      WholeSource)
CONVERSION(ZEMTCnvVarcharSzToVarcharSz,      VarcharSz,  VarcharSz,                 Copy,      Allowed,      Taken)
CONVERSION(ZEMTCnvVarcharSzToWVarcharSz,     VarcharSz,  WVarcharSz,                Transcode, Refused,      WholeSource)
CONVERSION(ZEMTCnvWVarcharSzToWVarcharSz,    WVarcharSz, WVarcharSz,                Copy,      Refused,      WholeSource)
CONVERSION(ZEMTCnvWVarcharSzToWVarcharSzOut, WVarcharSz, LengthInBytes<WVarcharSz>, Copy,      Refused,      WholeSource)
CONVERSION(ZEMTCnvVarcharSzToChar,           VarcharSz,  Char,                      Copy,      Allowed,      Taken)
CONVERSION(ZEMTCnvWVarcharSzToChar,          WVarcharSz, Char,                      Transcode, Allowed,      WholeSource)
CONVERSION(ZEMTCnvVarcharSzToWChar,          VarcharSz,  WChar,                     Transcode, Refused,      WholeSource)
CONVERSION(ZEMTCnvWVarcharSzToWChar,         WVarcharSz, WChar,                     Copy,      Refused,      WholeSource)
CONVERSION(ZEMTCnvVarcharSzToVarchar,        VarcharSz,  ShortSize<Varchar>,        Copy,      Allowed,      Taken)
CONVERSION(ZEMTCnvWVarcharSzToVarchar,       WVarcharSz, Counted<Varchar>,          Transcode, Allowed,      WholeSource)
CONVERSION(ZEMTCnvVarcharSzToWVarchar,       VarcharSz,  Counted<WVarchar>,         Transcode, Allowed,      WholeSource)
CONVERSION(ZEMTCnvWVarcharSzToWVarchar,      WVarcharSz, WVarchar,                  Copy,      Refused,      WholeSource)
CONVERSION(ZEMTCnvWVarcharSzToVarcharSz,     WVarcharSz, VarcharSz,                 Transcode, Allowed,      WholeSource)
// clang-format on
