/*
 * zemt.h - conversion of database column values, one value per call
 *
 * Text in six layouts, binary integers and floating-point numbers, packed decimal, Oracle VARNUM and date/time records are
 * moved between the form in which a column is stored or delivered and the form in which a program works on it. Every
 * function is plain C, keeps nothing between calls and reports through its returned status alone.
 *
 *   Threads    Every function is re-entrant and takes no lock. Concurrent calls must not share a destination or a length
 *              cell; sources, parameter records, date formats and format-code lists that are only read may be shared.
 *   errno      Comes back from every call as it was.
 *   Locale     Never changed. Consulted by ZEMTCnvWVarcharSzToDbl and ZEMTCnvWVarcharSzToFlt alone, whose decimal separator
 *              is that of the calling thread's numeric locale.
 *   Memory     The caller owns every buffer; the library keeps no pointer after the call returns. Only date/time functions
 *              take heap memory, as their sections say, and they release it before they return.
 *   Alignment  Sources and destinations of the common form may stand at any address. Typed pointers (wchar_t *,
 *              ZEMTTS *, int32_t * ...) must be aligned as the C language requires.
 *   Overlap    Source and destination must not overlap.
 *
 * The platform is 64-bit little-endian Linux, where wchar_t has 32 bits and holds one code point. "Terminator" and NUL mean
 * a 0 byte behind 8-bit text and a 32-bit 0 behind wide text.
 *
 * Contents: 1 Version and status codes  2 Value layouts and the parameter record  3 The common form  4 UTF-8 codec
 *           5 Text to text  6 Trimming  7 Integers  8 Floating point  9 Packed decimal  10 Oracle VARNUM
 *           11 Date and time: records and formats  12 Formatting  13 Parsing
 */
#ifndef ZEMT_H
#define ZEMT_H

#if __SIZEOF_POINTER__ != 8 || __SIZEOF_WCHAR_T__ != 4 || __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "zemt needs a 64-bit little-endian platform with a wchar_t of 32 bits (which -fshort-wchar takes away)"
#endif

#include <stddef.h>
#include <stdint.h>

#ifndef ZEMT_API
#define ZEMT_API __attribute__((visibility("default")))
#endif

/* The arguments at these positions must not be null: the function does not test them, so that compilers and UBSan can. */
#define ZEMT_NONNULL(...) __attribute__((nonnull(__VA_ARGS__)))

#if defined(__cplusplus) && __cplusplus >= 201703L
#define ZEMT_NOEXCEPT noexcept
#else
#define ZEMT_NOEXCEPT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ==== 1 Version and status codes ======================================================================================= */

/* The version, by the rules of semantic versioning. What stays as it is until ZEMT_VERSION_MAJOR changes: docs/compatibility.md */
#define ZEMT_VERSION_MAJOR 2
#define ZEMT_VERSION_MINOR 1
#define ZEMT_VERSION_PATCH 0

#define ZEMT_RC_OK 0
#define ZEMT_RC_ERROR (-1)
#define ZEMT_RC_INVALID_CHAR 22
#define ZEMT_RC_NOT_POSITIVE 27
#define ZEMT_RC_NO_SPACE 28
#define ZEMT_RC_EMPTY_SOURCE 30
#define ZEMT_RC_INVALID_YEAR 54
#define ZEMT_RC_INVALID_DAY 55
#define ZEMT_RC_INVALID_MONTH 56
#define ZEMT_RC_INVALID_HOUR 57
#define ZEMT_RC_INVALID_MINUTE 58
#define ZEMT_RC_INVALID_SECOND 59
#define ZEMT_RC_UNKNOWN_FORMAT_CODE 67
#define ZEMT_RC_END_OF_FORMAT 6444

/* What a status says, for messages; "unknown status" for any other number. The text is constant and may change with a version. */
static inline const char *ZEMTStatusText(int32_t status)
{
    switch (status) {
    case ZEMT_RC_OK: return "success";
    case ZEMT_RC_ERROR: return "not a value of this type and format"; /* the sections say more */
    case ZEMT_RC_INVALID_CHAR: return "a character that UTF-8 or UTF-16 cannot carry";
    case ZEMT_RC_NOT_POSITIVE: return "0 or less"; /* ZEMTCnvIntToWVarcharSz alone */
    case ZEMT_RC_NO_SPACE: return "no room for the text, or UTF-8 cut off inside a character";
    case ZEMT_RC_EMPTY_SOURCE: return "empty"; /* or its length is missing or 0 */
    case ZEMT_RC_INVALID_YEAR: return "year outside 1..9999";
    case ZEMT_RC_INVALID_DAY: return "day outside its month";
    case ZEMT_RC_INVALID_MONTH: return "month outside 1..12";
    case ZEMT_RC_INVALID_HOUR: return "hour above 23";
    case ZEMT_RC_INVALID_MINUTE: return "minute above 59";
    case ZEMT_RC_INVALID_SECOND: return "second above 59";
    case ZEMT_RC_UNKNOWN_FORMAT_CODE: return "a '%' in the format that no keyword follows";
    case ZEMT_RC_END_OF_FORMAT: return "the format-code list has reached its end entry";
    default: return "unknown status";
    }
}

/* ==== 2 Value layouts and the parameter record ======================================================================== */

/*
 * The six text layouts. Function names are made of these words.
 *
 *   Char         8-bit characters, nothing else; the length travels beside the value
 *   Varchar      signed 16-bit length in bytes (0..32767), then the 8-bit characters
 *   VarcharSz    8-bit characters and a 0 byte
 *   WChar        32-bit characters, nothing else; the length travels beside the value
 *   WVarchar     signed 16-bit length in bytes (0..32764, 4 a character), then the 32-bit characters from byte offset 2 on
 *   WVarcharSz   32-bit characters and a 32-bit 0
 *
 * Everything is in native byte order. A destination is never padded with blanks: what stands behind a value and its
 * terminator keeps what it held. Only the formatters of sections 7 and 8 may write more, up to the room that they name.
 */

struct ZEMTDateFormat;

/* The conversion parameters of a column. The caller's own data may live in the fields that the library does not read. */
typedef struct ZEMTCnvParms {
    uint8_t callerData[16];                  /*  0 not read */
    int32_t precision;                       /* 16 decimal digits of a packed-decimal value */
    int32_t callerWord;                      /* 20 not read */
    int32_t skipTranscode;                   /* 24 0: convert; other: transcoding text conversions deliver an empty value */
    int32_t callerWord2;                     /* 28 not read */
    const struct ZEMTDateFormat *dateFormat; /* 32 the column's date format; read by the conversions of dates and times */
} ZEMTCnvParms;

/* ==== 3 The common form =============================================================================================== */

/*
 * Every function whose name begins with ZEMTCnv has this type, but for the four short forms of section 7. A caller's
 * dispatch table from column types to conversions holds pointers to it.
 *
 *   src      the source value.
 *   srcLen   Char, WChar: the length of the source; required, read only. In text conversions it counts bytes.
 *            All other sources know their length, and srcLen may be null: where *srcLen is 0 on entry it receives the
 *            length of the source (each section says which and when), any other value stays. Sections 8 and 10 differ.
 *   dst      the destination.
 *   dstSize  its room in bytes. It does not count the terminator: behind a VarcharSz stands one byte more, behind a
 *            WVarcharSz one wide character more. Wide text takes dstSize / 4 characters. Sections say where the 2-byte
 *            prefix is counted, and where dstSize is not consulted and how much room the caller owes instead.
 *   outLen   receives the length of the value produced; never null, but for the readers of section 8, which leave it alone.
 *            VarcharSz: bytes before the terminator. WVarcharSz: characters before the terminator. Char, WChar: bytes.
 *            Varchar, WVarchar: bytes with the 2-byte prefix. Numbers and records: bytes.
 *   parms    the column's parameters; may be null where a section says so.
 *
 * Returns ZEMT_RC_OK or the status of the first failure. A call that fails leaves *outLen and *srcLen as they were unless
 * its section says otherwise; dst may then hold the characters converted before the failure, without terminator or prefix.
 */
typedef int32_t ZEMTConversion(const void *src, int32_t *srcLen, void *dst, int32_t dstSize, int32_t *outLen,
                               const ZEMTCnvParms *parms) ZEMT_NOEXCEPT;

/* ==== 4 UTF-8 codec =================================================================================================== */

/*
 * UTF-8 as RFC 2279 has it: 1 to 6 bytes for values up to 0x7FFFFFFF. Overlong forms, surrogate code points and values above
 * 0x10FFFF are carried like any other value, stray continuation bytes and 0xFE and 0xFF decode as the characters of the same
 * value, and U+FFFD decodes as '?'.
 */

/*
 * Encodes one code point at *pdst and advances *pdst past the bytes written. Where *pdst is null the bytes are only counted
 * and room is not looked at. Adds the number of bytes to *count and returns 1. On failure returns 0, stores 22 (value above
 * 0x7FFFFFFF) or 28 (fewer than that many bytes of room) in *status, and leaves everything else as it was.
 */
ZEMT_API int32_t ConvertTo8(char **pdst, int32_t room, uint32_t value, int32_t *status, int32_t *count) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 4, 5);

/*
 * Decodes one sequence at *psrc, of which avail bytes are left, and advances *psrc past it. Returns 1 with the code point in
 * *value and the bytes it took in *consumed:
 *   end of text (a 0 byte)    *value 0, *consumed 0, *psrc behind the 0 byte
 *   malformed sequence        *value the first byte, *consumed -1, *psrc behind the first byte
 * Returns 0 for a sequence that runs past avail: *status 28, *consumed the length it needs, *value 0, *psrc behind the first
 * byte. *status stays as it was otherwise. With avail below 1 nothing is read and *psrc stays: 0, *status 28,
 * *consumed 1, *value 0. An overlong 0 (C0 80) is a sequence like others: *value 0, *consumed its length.
 */
ZEMT_API int32_t ConvertFrom8(uint32_t *value, const char **psrc, int32_t avail, int32_t *status,
                              int32_t *consumed) ZEMT_NOEXCEPT ZEMT_NONNULL(1, 2, 4, 5);

/*
 * Encodes srcCount 32-bit code points, or those before the first 0, as UTF-8. No terminator is written.
 *
 *   dst        room for dstCap bytes; null: nothing is written, dstCap is not looked at, and the size needed is counted
 *   outCount   receives the bytes produced before the conversion stopped, on success and on failure; may be null. Counting
 *              stops with 28 and 2^31 - 1 where the size is more than that
 *
 * Returns 0, 22 (a value above 0x7FFFFFFF) or 28 (no room for the next whole character). Characters before the failure stand
 * in dst; nothing is written behind them. A negative dstCap or srcCount counts as 0.
 */
ZEMT_API int32_t Convert32To8(char *dst, int32_t dstCap, const wchar_t *src, int32_t srcCount, int32_t *outCount) ZEMT_NOEXCEPT;

/* Like Convert32To8, but from srcCount UTF-16 units. 22 also for a surrogate without its partner. */
ZEMT_API int32_t Convert16To8(char *dst, int32_t dstCap, const uint16_t *src, int32_t srcCount,
                              int32_t *outCount) ZEMT_NOEXCEPT;

/*
 * Decodes srcLen bytes of UTF-8, or those before the first 0, into 32-bit code points. A 0 ends the text in an overlong
 * form, too (C0 80). No terminator is written.
 *
 *   dst        room for dstCap code points; null: nothing is written, dstCap is not looked at, and the size is counted
 *   outCount   receives the code points produced before the conversion stopped, on success and on failure; may be null.
 *              Counting stops with 28 and 2^31 - 1 where the size is more than that
 *
 * Returns 0, or 28 for a full destination or a source that ends inside a sequence. A malformed sequence ends the text with
 * status 0: it and everything behind it are dropped. A negative dstCap or srcLen counts as 0.
 */
ZEMT_API int32_t Convert8To32(wchar_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) ZEMT_NOEXCEPT;

/* Like Convert8To32, but into UTF-16: values above 0xFFFF take two units, and one above 0x10FFFF returns 22. */
ZEMT_API int32_t Convert8To16(uint16_t *dst, int32_t dstCap, const char *src, int32_t srcLen, int32_t *outCount) ZEMT_NOEXCEPT;

/* ==== 5 Text to text ================================================================================================== */

/*
 * 21 conversions of the common form, in four kinds.
 *
 *   copy        8-bit to 8-bit, wide to wide: characters unchanged, truncated to the room. 0 bytes of a Char or Varchar
 *               are copied. A 0 character in a WChar or WVarchar ends its text; the positions behind it are filled with 0
 *               and counted in *outLen.
 *   narrow      WChar, WVarchar to VarcharSz: each character becomes one byte and must lie in 0..255, else -1. Truncated
 *               to the room.
 *   transcode   between UTF-8 and wide text, as Convert8To32 and Convert32To8 do: a 0 or a malformed sequence ends the
 *               text with status 0. Never truncated: 28 where the room is too small or the source ends inside a sequence,
 *               22 for a wide character above 0x7FFFFFFF. With parms->skipTranscode set nothing is converted: the value is
 *               empty, has no terminator but a prefix of 0 and its lengths, and the status is 0.
 *
 * Room: dstSize bytes or dstSize / 4 wide characters, terminator not counted; a prefix is counted where a line below says so
 * (a dstSize that does not hold even the prefix: 28, also where nothing is converted). Values behind a prefix never exceed
 * 32767 bytes (8191 wide characters): copies truncate there, transcodings return 28. Other values may be of any length
 * that *srcLen can count: longer terminated texts give -1.
 *
 * An empty source gives 30, before anything else is looked at, unless a line says "may be empty". A WChar or WVarchar of 0
 * to 3 bytes is empty. Where *srcLen is 0 on entry, success stores the bytes taken from the source ("taken") or all its
 * bytes ("whole", in whole characters); for Char and WChar sources *srcLen is the input length in bytes and is never
 * written.
 *
 * A null src or dst, a negative length, prefix or dstSize: -1, nothing written. parms may be null, which skips nothing.
 */

/*                        name                                                  kind       *srcLen  remarks */
ZEMT_API ZEMTConversion ZEMTCnvCharToVarcharSz ZEMT_NONNULL(5);           /* copy       input */
ZEMT_API ZEMTConversion ZEMTCnvCharToWVarcharSz ZEMT_NONNULL(5);          /* transcode  input */
ZEMT_API ZEMTConversion ZEMTCnvWCharToVarcharSz ZEMT_NONNULL(5);          /* narrow     input */
ZEMT_API ZEMTConversion ZEMTCnvWCharToWVarcharSz ZEMT_NONNULL(5);         /* copy       input */
ZEMT_API ZEMTConversion ZEMTCnvVarcharToVarcharSz ZEMT_NONNULL(5);        /* copy       taken */
ZEMT_API ZEMTConversion ZEMTCnvVarcharToWVarcharSz ZEMT_NONNULL(5);       /* transcode  whole */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharToVarcharSz ZEMT_NONNULL(5);       /* narrow     taken */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharToWVarcharSz ZEMT_NONNULL(5);      /* copy       whole */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToVarcharSz ZEMT_NONNULL(5);      /* copy       taken    may be empty */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToWVarcharSz ZEMT_NONNULL(5);     /* transcode  whole */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToWVarcharSz ZEMT_NONNULL(5);    /* copy       whole */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToWVarcharSzOut ZEMT_NONNULL(5); /* copy       whole    *outLen counts bytes */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToChar ZEMT_NONNULL(5);           /* copy       taken    may be empty */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToChar ZEMT_NONNULL(5);          /* transcode  whole    may be empty */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToWChar ZEMT_NONNULL(5);          /* transcode  whole */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToWChar ZEMT_NONNULL(5);         /* copy       whole */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToVarchar ZEMT_NONNULL(5);        /* copy       taken    may be empty; dstSize
                                                                             0..32767, else -1 */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToVarchar ZEMT_NONNULL(5);       /* transcode  whole    may be empty; prefix counted */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToWVarchar ZEMT_NONNULL(5);       /* transcode  whole    may be empty; prefix counted */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToWVarchar ZEMT_NONNULL(5);      /* copy       whole */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToVarcharSz ZEMT_NONNULL(5);     /* transcode  whole    may be empty */

/* ==== 6 Trimming ====================================================================================================== */

/*
 * Removes blanks (0x20) of text in place: those in front where leading is 1, those behind where trailing is 1; any other
 * value of a flag leaves its side alone. *len is the length in bytes and receives the new one; a negative length counts as
 * 0. The caller owes room for one byte more than *len. Always returns 0.
 *
 * With trailing 1 a 0 byte is written behind the text that is left. With leading alone nothing is: the bytes behind the new
 * length keep what they held. A text of nothing but blanks with leading 1 is left as it is and only *len becomes 0.
 */
ZEMT_API int32_t TrimSpaces(char *text, int32_t *len, uint8_t leading, uint8_t trailing) ZEMT_NOEXCEPT ZEMT_NONNULL(1, 2);

/* Like TrimSpaces, but of wide text, with *len in characters. */
ZEMT_API int32_t TrimSpacesW(wchar_t *text, int32_t *len, uint8_t leading, uint8_t trailing) ZEMT_NOEXCEPT ZEMT_NONNULL(1, 2);

/*
 * Removes every space (0x20) and tab (0x09) of wide text in place, wherever it stands. At most *len characters are looked
 * at, ending early at a 0; a negative *len counts as 0. The characters kept are followed by a 0, for which the caller owes
 * room, and counted in *len. Always returns 0.
 */
ZEMT_API int32_t TrimAllSpacesTabsW(wchar_t *text, int32_t *len) ZEMT_NOEXCEPT ZEMT_NONNULL(1, 2);

/* ==== 7 Integers ====================================================================================================== */

/*
 * Two's complement integers TinyInt, SmallInt, Int and LongLong and unsigned integers TinyUInt, SmallUInt, UInt and
 * ULONGLONG (8, 16, 32, 64 bits) to and from decimal text.
 *
 * To text: a '-' below zero and the digits, without leading zeros. Zero is the empty text. dstSize is not consulted; the
 * caller owes the room of the line below, all of which the function may write, also behind the terminator. *outLen receives
 * the characters before the terminator and a *srcLen of 0 the integer's bytes. Always succeeds.
 *
 * From text: digits up to the terminator, behind an optional '-' where the type is signed; leading zeros are read as digits.
 * The value is taken modulo 2^N, N being the bits of the type, so nothing overflows: "128" is the TinyInt -128. The empty
 * text is 0, and so is "-" for a signed type. Returns -1 for any other character and then writes nothing. *outLen receives
 * the integer's bytes and a *srcLen of 0 the bytes of text read (4 a wide character, terminator not counted).
 *
 * src, dst and outLen must be valid; srcLen may be null; parms is ignored.
 */

/* Room for any text of a type, in characters, terminator included. */
#define ZEMT_ROOM_TINY_INT 5
#define ZEMT_ROOM_SMALL_INT 7
#define ZEMT_ROOM_INT 12
#define ZEMT_ROOM_LONG_LONG 21
#define ZEMT_ROOM_TINY_UINT 4
#define ZEMT_ROOM_SMALL_UINT 6
#define ZEMT_ROOM_UINT 11
#define ZEMT_ROOM_ULONGLONG 21

/*                        name                                                               room at dst */
ZEMT_API ZEMTConversion ZEMTCnvTinyIntToWVarcharSz ZEMT_NONNULL(1, 3, 5);   /* ZEMT_ROOM_TINY_INT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvSmallIntToWVarcharSz ZEMT_NONNULL(1, 3, 5);  /* ZEMT_ROOM_SMALL_INT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvIntToWVarcharSz1 ZEMT_NONNULL(1, 3, 5);      /* ZEMT_ROOM_INT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvLongLongToWVarcharSz ZEMT_NONNULL(1, 3, 5);  /* ZEMT_ROOM_LONG_LONG wide characters */
ZEMT_API ZEMTConversion ZEMTCnvTinyUIntToWVarcharSz ZEMT_NONNULL(1, 3, 5);  /* ZEMT_ROOM_TINY_UINT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvSmallUIntToWVarcharSz ZEMT_NONNULL(1, 3, 5); /* ZEMT_ROOM_SMALL_UINT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvUIntToWVarcharSz ZEMT_NONNULL(1, 3, 5);      /* ZEMT_ROOM_UINT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvULONGLONGToWVarcharSz ZEMT_NONNULL(1, 3, 5); /* ZEMT_ROOM_ULONGLONG wide characters */
ZEMT_API ZEMTConversion ZEMTCnvUIntToVarcharSz ZEMT_NONNULL(1, 3, 5);       /* ZEMT_ROOM_UINT bytes */
ZEMT_API ZEMTConversion ZEMTCnvULONGLONGToVarcharSz ZEMT_NONNULL(1, 3, 5);  /* ZEMT_ROOM_ULONGLONG bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToTinyInt ZEMT_NONNULL(1, 3, 5);   /*  1 byte */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToSmallInt ZEMT_NONNULL(1, 3, 5);  /*  2 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToInt1 ZEMT_NONNULL(1, 3, 5);      /*  4 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToLongLong ZEMT_NONNULL(1, 3, 5);  /*  8 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToTinyUInt ZEMT_NONNULL(1, 3, 5);  /*  1 byte */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToSmallUInt ZEMT_NONNULL(1, 3, 5); /*  2 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToUInt ZEMT_NONNULL(1, 3, 5);      /*  4 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToULONGLONG ZEMT_NONNULL(1, 3, 5); /*  8 bytes */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToUInt ZEMT_NONNULL(1, 3, 5);       /*  4 bytes */
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToULONGLONG ZEMT_NONNULL(1, 3, 5);  /*  8 bytes */

/*
 * The short forms: a 32-bit value in, text and its length out. dst has ZEMT_ROOM_INT bytes, all of which may be written.
 * Returns 0.
 */
ZEMT_API int32_t ZEMTCnvIntToVarcharSz(int32_t value, char *dst, int32_t *outLen) ZEMT_NOEXCEPT ZEMT_NONNULL(2, 3);

/*
 * Like ZEMTCnvIntToVarcharSz, but into ZEMT_ROOM_UINT wide characters and for values from 1 on: any other value returns 27
 * and nothing is written.
 */
ZEMT_API int32_t ZEMTCnvIntToWVarcharSz(int32_t value, wchar_t *dst, int32_t *outLen) ZEMT_NOEXCEPT ZEMT_NONNULL(2, 3);

/*
 * Reads a decimal field of at most count characters at text[start], ending early at a terminator. One '-' is accepted
 * anywhere in the field ("12-" is -12) and counts as a character. The value is taken modulo 2^32. Returns 0 with the value
 * in *result (0 where nothing was read), or -1 for any other character, with the digits before it, unsigned, in *result.
 * text[start + count] is not read.
 */
ZEMT_API int32_t ZEMTCnvVarcharSzToInt(const char *text, int32_t *result, int32_t start, int32_t count) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 2);

/* Like ZEMTCnvVarcharSzToInt, but from wide text. */
ZEMT_API int32_t ZEMTCnvWVarcharSzToInt(const wchar_t *text, int32_t *result, int32_t start, int32_t count) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 2);

/* ==== 8 Floating point ================================================================================================ */

/*
 * IEEE 754 numbers Dbl (64 bits) and Flt (32 bits) to and from WVarcharSz text in scientific notation:
 * "-1.2300000000000000E-03" has 17 significant digits (Dbl), "-1.2300000E-03" has 8 (Flt). 17 digits read back as the same
 * Dbl; for a few Flt it takes 9, as FloatToString(value, dst, 8) writes. No function of this section allocates, reads
 * *srcLen or writes it.
 *
 * Text is the same in every floating-point environment, and writing it raises no exception. The two conversions from text
 * expect the default one (rounding to nearest, no traps) and may leave exception flags set.
 */

/*
 * Writes value as an optional '-', one digit, '.', as many digits as digits says (none for 0), 'E', the exponent's sign and
 * its two or three digits: the digits of the exact binary value, correctly rounded (ties to even), as printf("%.*e") has
 * them in the C locale. Minus zero keeps its sign. dst has ZEMT_ROOM_FLOAT_TO_STRING(digits) wide characters.
 *
 * Returns 0, or -1 for infinities, NaN, digits below 0 and 32767 of them, with nothing written.
 */
#define ZEMT_ROOM_FLOAT_TO_STRING(digits) ((digits) + 9) /* sign, first digit, point, 'E', sign, 3 digits, terminator */
ZEMT_API int32_t FloatToString(double value, wchar_t *dst, int16_t digits) ZEMT_NOEXCEPT ZEMT_NONNULL(2);

/*
 * To text: as FloatToString with 16 digits behind the point for Dbl and 7 for Flt. dstSize, as a plain number, must be above
 * 30; the caller owes the room of the line below, all of which the function may write, also behind the terminator. Returns 0
 * with the characters before the terminator in *outLen, or -1 with nothing written for a null src or dst, a dstSize of 30 or
 * less, an infinity or a NaN.
 *
 * From text: as wcstod reads it (C99, 7.24.4.1.1), in the calling thread's numeric locale: white space, a sign, then a
 * decimal or hexadecimal number; whatever follows is ignored. dst receives the nearest Dbl; a Flt is that Dbl, narrowed to
 * the nearest Flt. Returns -1 with nothing written for a null src or dst, and where the result is zero (text without a
 * number, "0", underflow), infinite or not a number. *outLen is never written and may be null, like srcLen and parms.
 */

#define ZEMT_ROOM_DBL 25 /* sign, 17 digits, point, 'E', sign and 3 digits of exponent, terminator */
#define ZEMT_ROOM_FLT 15 /* sign, 8 digits, point, 'E', sign and 2 digits of exponent, terminator */

/*                        name                                     room at dst */
ZEMT_API ZEMTConversion ZEMTCnvDblToWVarcharSz ZEMT_NONNULL(5); /* ZEMT_ROOM_DBL wide characters */
ZEMT_API ZEMTConversion ZEMTCnvFltToWVarcharSz ZEMT_NONNULL(5); /* ZEMT_ROOM_FLT wide characters */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToDbl;                 /*  8 bytes */
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToFlt;                 /*  4 bytes */

/* ==== 9 Packed decimal ================================================================================================ */

/*
 * Packed decimal (COMP-3) fields of P = parms->precision digits, to and from text of digits. A field has B = (P + 2) / 2
 * bytes: 2B - 1 digits of four bits, the most significant first, and the sign in the last four bits. At an even P this is
 * one digit more than P, which is read and written like the others. Signs are not carried: 0xC is written, and what is read
 * is ignored; so is the place of a decimal point. dstSize is not consulted. Nothing is allocated.
 *
 * To text: the digits without leading zeros, zero being the empty text. Nothing is written behind the terminator; 2B
 * characters hold any text. *outLen receives the characters before the terminator, a *srcLen of 0 receives B. At a digit
 * above 9 the status is -1, with the digits before it terminated in dst and both lengths written, and nothing depends on
 * what stands behind that digit's byte: where a precision is larger than the field, the field's sign ends it.
 *
 * From text: up to 2B - 1 digits, put at the right end of the field behind zeros. Characters are not checked; each leaves
 * its low four bits. *outLen receives B and a *srcLen of 0 the bytes of the text (4 a wide character). A longer text gives
 * -1 and writes nothing. Always succeeds otherwise.
 *
 * A negative precision gives -1 and writes nothing. src, dst, outLen and parms must be valid; srcLen may be null.
 */
#define ZEMT_SIZE_DEC_KEST(precision) ((precision) / 2 + 1)               /* bytes of a field: B */
#define ZEMT_ROOM_DEC_KEST(precision) (2 * ZEMT_SIZE_DEC_KEST(precision)) /* characters for any text, terminator included */

ZEMT_API ZEMTConversion ZEMTCnvDecKestToVarcharSz ZEMT_NONNULL(1, 3, 5, 6);
ZEMT_API ZEMTConversion ZEMTCnvDecKestToWVarcharSz ZEMT_NONNULL(1, 3, 5, 6);
ZEMT_API ZEMTConversion ZEMTCnvVarcharSzToDecKest ZEMT_NONNULL(1, 3, 5, 6);
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSzToDecKest ZEMT_NONNULL(1, 3, 5, 6);

/* ==== 10 Oracle VARNUM ================================================================================================ */

/*
 * VARNUM is Oracle's NUMBER behind a length byte, at most 22 bytes:
 *
 *   byte 0    the bytes that follow, 1..21
 *   byte 1    193 + E, or 62 - E for a negative number; E, -65..62, is the exponent to the base 100 of the first digit
 *   byte 2    up to 20 digits to the base 100, the first and the last of them not 0 (the last may be where more have been
 *             dropped): digit + 1, or 101 - digit in a negative number, which ends with a byte 102 if it has fewer than 20
 *
 * 01 80 is zero, 03 C1 02 33 is 1.5, 02 C2 02 is 100, 03 3E 64 66 is -1.
 *
 * The conversions handle numbers that are not negative. Text is digits with at most one '.', nothing else. dstSize and parms
 * are not consulted; srcLen must be valid and is always written, except for a null or empty text. Nothing is allocated.
 *
 * To text: *srcLen receives the size of the VARNUM, *outLen the characters before the terminator. No digit is dropped or
 * rounded; no zero stands before the point, and behind it the digits stand in pairs: ".50", "1.50", "100". Zero is "0".
 * ZEMT_ROOM_ORA_VARNUM characters hold any text; nothing is written behind the terminator. Returns 0, or -1 with 0 in *outLen
 * and nothing written to dst: a negative number, a length byte of 0 or above 21, a single byte other than 0x80, a digit byte
 * outside 1..100. No more than the bytes that the length byte counts are read, and no more than 21.
 *
 * From text: *srcLen receives the characters of the text (also of wide text; as a signed 16-bit number, which no number that
 * is read exceeds), *outLen the size of the VARNUM; dst has ZEMT_SIZE_ORA_VARNUM bytes, of which only those of the value are
 * written. Digits behind the 20th to the base 100 are dropped, not rounded, and what lies below 100^-65 is zero; neither is
 * reported. A null or empty text, and a point alone, are zero. Returns 0, or -1 with dst and *outLen untouched: any other
 * character or a second point, more than 266 digits, an exponent above 62.
 */
#define ZEMT_SIZE_ORA_VARNUM 22  /* length byte, exponent and 20 digits */
#define ZEMT_ROOM_ORA_VARNUM 170 /* a point, 168 digits of a fraction, terminator */

ZEMT_API ZEMTConversion ZEMTCnvOraVarnumToVarcharSz_Unsigned ZEMT_NONNULL(1, 2, 3, 5);
ZEMT_API ZEMTConversion ZEMTCnvOraVarnumToWVarcharSz_Unsigned ZEMT_NONNULL(1, 2, 3, 5);
ZEMT_API ZEMTConversion ZEMTCnvVarcharSz_UnsignedToOraVarnum ZEMT_NONNULL(2, 3, 5);
ZEMT_API ZEMTConversion ZEMTCnvWVarcharSz_UnsignedToOraVarnum ZEMT_NONNULL(2, 3, 5);

/*
 * Builds a VARNUM of either sign ('+' or '-') from count digits to the base 100, the most significant first: their integer
 * times 10^-scale. What does not fit is dropped as above. dst has ZEMT_SIZE_ORA_VARNUM bytes. The function may change the
 * count bytes at digits, which concurrent calls must not share. Returns 0, or -1 with nothing written to dst: another sign,
 * a count above 133, an exponent above 62. A count below 1 is zero.
 */
ZEMT_API int16_t ConvertBCDToOraVarNum(void *dst, uint8_t *digits, int16_t count, int16_t scale, char sign) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 2);

/* ==== 11 Date and time: records and formats =========================================================================== */

/* A timestamp, 24 bytes. Only the first 16 are read of one that is given; all 24 are written where one is produced. */
typedef struct ZEMTTS {
    int16_t year;        /*  0 1..9999 */
    uint16_t month;      /*  2 1..12 */
    uint16_t day;        /*  4 1..the month's last day */
    uint16_t hour;       /*  6 0..23 */
    uint16_t minute;     /*  8 0..59 */
    uint16_t second;     /* 10 0..59 */
    int32_t fraction;    /* 12 the fraction's digits as an integer, never scaled: "045" is 45; never checked */
    uint8_t reserved[8]; /* 16 zero where the library writes the record */
} ZEMTTS;

/* A date, 16 bytes. Only the first 6 are read by the formatters. */
typedef struct ZEMTDate {
    int16_t year;              /* 0 */
    uint16_t month;            /* 2 */
    uint16_t day;              /* 4 */
    uint8_t reserved[2];       /* 6 */
    const wchar_t *formatText; /* 8 a format string, read by ZEMTDateCharToDate only */
} ZEMTDate;

/* A time of day, 16 bytes. Only the first 6 are read by the formatters. */
typedef struct ZEMTTime {
    uint16_t hour;        /* 0 */
    uint16_t minute;      /* 2 */
    uint16_t second;      /* 4 */
    uint8_t reserved[10]; /* 6 */
} ZEMTTime;

/* Which components a value or a format holds. */
#define ZEMT_KIND_DATE 1
#define ZEMT_KIND_TIME 2
#define ZEMT_KIND_TIMESTAMP 3

/*
 * The format language. A format is a NUL-terminated wide string in which '%' and a keyword, in either case, stand for one
 * component; every other character is literal. A literal '%' cannot be written.
 *
 *   %YYYY %YY              year in 4 digits; the year modulo 100 in 2
 *   %MONTH %MMM            English name of the month; its first three letters
 *   %MM %M                 month in 2 digits; without padding (formatting only)
 *   %DD %D                 day in 2 digits; without padding (formatting only)
 *   %HH24                  hour 00..23
 *   %HH %PM                hour of the 12-hour clock; the place of "AM" or "PM". Hours 0 to 12 are AM and keep their
 *                          number, hours 13 to 23 are PM and lose 12; so "12 PM" reads as hour 24, which is invalid.
 *                          Written only if reached before the text ends: as two blanks where no %HH is, and not at all
 *                          where %HH24 stands behind it. Read, any other two characters leave the hour as it is
 *   %MI %SS                minute, second
 *   %FFFFFF ... %F         fraction in at least 6 ... 1 digits; as an integer, never scaled
 *
 * The longest keyword wins ("%MMMM" is MMM and a literal 'M').
 */
#define ZEMT_FMT_LITERAL 0
#define ZEMT_FMT_YYYY 1
#define ZEMT_FMT_YY 2
#define ZEMT_FMT_MONTH 3
#define ZEMT_FMT_MMM 4
#define ZEMT_FMT_MM 5
#define ZEMT_FMT_M 6
#define ZEMT_FMT_DD 7
#define ZEMT_FMT_D 8
#define ZEMT_FMT_HH24 9
#define ZEMT_FMT_HH 10
#define ZEMT_FMT_MI 11
#define ZEMT_FMT_SS 12
#define ZEMT_FMT_FFFFFF 13
#define ZEMT_FMT_FFFFF 14
#define ZEMT_FMT_FFFF 15
#define ZEMT_FMT_FFF 16
#define ZEMT_FMT_FF 17
#define ZEMT_FMT_F 18
#define ZEMT_FMT_PM 19
#define ZEMT_FMT_END 21

/* One entry of a format-code list: a literal character, a code, or the end. A list ends with an entry whose code is 21. */
typedef struct ZEMTFmtItem {
    wchar_t ch;       /*  0 literal entry: the character */
    uint32_t code;    /*  4 ZEMT_FMT_... */
    int32_t length;   /*  8 code entry: characters of the keyword */
    int32_t position; /* 12 code entry: index of its '%' in the format */
} ZEMTFmtItem;

/* A prepared format, 48 bytes; ZEMTCnvParms.dateFormat points to it. The caller owns it and its list. */
typedef struct ZEMTDateFormat {
    uint8_t callerData[32];         /*  0 not read */
    const ZEMTFmtItem *formatCodes; /* 32 a list that ZEMTGetFormatCodes has filled */
    int32_t formatLength;           /* 40 characters of the format string */
    int32_t callerWord;             /* 44 not read */
} ZEMTDateFormat;

/*
 * Checks the components that mode (ZEMT_KIND_...) covers, in the order year (54), month (56), day (55), hour (57), minute
 * (58), second (59), by the Gregorian calendar for every year from 1 to 9999. Returns 0 or the status of the first that
 * fails; 0 for any other mode; -1 for a null record. Writes nothing.
 */
ZEMT_API int32_t ZEMTValidateDateTime(const ZEMTTS *ts, int32_t mode) ZEMT_NOEXCEPT;

/*
 * Parses a format string into a list. Prepare a column's format once:
 *
 *   n = wcslen(format)
 *   list: n + 1 entries, cleared (the function takes no capacity: this is the room the caller owes)
 *   kind = ZEMT_KIND_DATE
 *   ZEMTGetFormatCodes(format, list, &kind)
 *   dateFormat.formatCodes = list, dateFormat.formatLength = n, parms.dateFormat = &dateFormat
 *
 * Writes ch and code of a literal entry; code, length and position of a code entry; code of the end entry. *kind gathers
 * what the format holds: a date code turns 2 and 3 into 3 and all else into 1, a time code turns 1 and 3 into 3 and all else
 * into 2, a fraction makes it 3; M, D and PM leave it.
 *
 * Returns 0; 67 for a '%' that no keyword follows, with the entries before it written and no end entry; -1 for a null
 * argument or a format of more than 32767 characters, with nothing written.
 */
ZEMT_API int32_t ZEMTGetFormatCodes(const wchar_t *format, ZEMTFmtItem *list, int32_t *kind) ZEMT_NOEXCEPT;

/* ==== 12 Formatting dates and times =================================================================================== */

/*
 * Writes ts under a list into size wide characters of dst, terminator included. mode says which components are wanted: codes
 * of other components write nothing, literals are always written, and the text ends when the last wanted component has been
 * written, whatever follows it in the list. Code 20 and codes above 21 are written like literals. Numbers are padded with
 * zeros to the digits of their code and are never cut. The record is not checked.
 *
 * Returns 0, or -1: a null argument, text and terminator do not fit, size below 1, or a month outside 1..12 under MONTH or
 * MMM. dst may then hold part of the text, without terminator. Allocates nothing.
 */
ZEMT_API int32_t ZEMTTSToWVarcharSz(wchar_t *dst, int32_t size, const ZEMTFmtItem *list, const ZEMTTS *ts,
                                    int32_t mode) ZEMT_NOEXCEPT;

/*
 * Eight conversions of the common form under the format parms->dateFormat. The record is checked first, as
 * ZEMTValidateDateTime does in the mode of the line below: 54 to 59 leave dst untouched.
 *
 * Into WVarcharSz the text is written in place: here dstSize counts the terminator too. -1 where it does not fit. Allocates
 * nothing.
 *
 * Into the other layouts the text goes through a scratch of formatLength * 16 wide characters and the WVarcharSz
 * conversion of section 5 to that layout, whose room, *outLen and statuses hold (also parms->skipTranscode). The scratch is
 * on the stack (1 KiB) for texts of up to 255 characters, which those of all formats of up to 31 are; a longer text takes one
 * heap block. -1 where the block cannot be had, and where the text does not fit the scratch (a formatLength below 1 fits
 * none).
 *
 * A null src, dst, parms, dateFormat or list: -1. srcLen is neither read nor written.
 */

/*                        name                                                 mode */
ZEMT_API ZEMTConversion ZEMTCnvZEMTDateToWVarcharSz ZEMT_NONNULL(5); /* 1: date codes only */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTimeToWVarcharSz ZEMT_NONNULL(5); /* 2: time codes only, no fraction */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToWVarcharSz ZEMT_NONNULL(5);   /* 3 */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToWchar ZEMT_NONNULL(5);        /* 3, as ZEMTCnvWVarcharSzToWChar */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToWVarchar ZEMT_NONNULL(5);     /* 3, as ZEMTCnvWVarcharSzToWVarchar */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToChar ZEMT_NONNULL(5);         /* 3, as ZEMTCnvWVarcharSzToChar */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToVarchar ZEMT_NONNULL(5);      /* 3, as ZEMTCnvWVarcharSzToVarchar */
ZEMT_API ZEMTConversion ZEMTCnvZEMTTSToVarcharSz ZEMT_NONNULL(5);    /* 3, as ZEMTCnvWVarcharSzToVarcharSz */

/*
 * Writes "DD/MM/YYYY hh:mm:ss:ffffff" (26 characters for a valid record with a fraction of 0..999999) into size wide
 * characters of buf, terminator included, and its length into *outLen, which may be null. The record is not checked. Returns
 * 0, or -1 where text and terminator do not fit, with part of the text in buf and *outLen as it was.
 */
ZEMT_API int32_t ZEMTGetStringFromTS(const ZEMTTS *ts, wchar_t *buf, int32_t size, int32_t *outLen) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 2);

/* Like ZEMTGetStringFromTS, but into 8-bit characters. */
ZEMT_API int32_t ZEMTGetStringAFromTS(const ZEMTTS *ts, char *buf, int32_t size, int32_t *outLen) ZEMT_NOEXCEPT
    ZEMT_NONNULL(1, 2);

/* ==== 13 Parsing dates and times ====================================================================================== */

/*
 * Moves *entry over its literal entries to the next code, and *sourcePos behind the first place at or after it where those
 * literals stand in the text as one run. The literals and a NUL are left in literalBuffer, which has room for them. Returns
 * 0; 6444 where the list ends instead, with *sourcePos as it was; -1 where the text does not hold the run.
 */
ZEMT_API int32_t ZEMTGetNextCodePosInSourceW(const ZEMTFmtItem **entry, const wchar_t **sourcePos,
                                             wchar_t *literalBuffer) ZEMT_NOEXCEPT ZEMT_NONNULL(1, 2, 3);

/*
 * Reads NUL-terminated text under a list into ts, all 24 bytes. Literals before a code are sought forward, exactly, over
 * whatever stands before them (each place is compared, so that a run of many characters takes up to its length times that of
 * the text); those behind the last code are never sought. Numbers are read in as many characters as the entry's length says
 * (one '-' allowed; of HH24 in 2 fewer), and the text goes on behind the width of the keyword; names of months and "AM"/"PM"
 * are read in either case; code 20 is passed over; text that ends early leaves the remaining fields 0; text behind the last
 * code is ignored. Nothing is checked against the calendar. textLength and mode are not consulted; formatLength must be at
 * least 1.
 *
 * Returns 0 or -1: a null argument or formatLength below 1 (ts untouched), a literal that is not found, a character that is
 * no digit, no name of a month, the codes M and D and those above 21. ts then holds the fields read before. Allocates
 * nothing.
 */
ZEMT_API int32_t ZEMTWVarcharSzToTS(const wchar_t *text, int32_t textLength, const ZEMTFmtItem *formatCodes,
                                    int32_t formatLength, ZEMTTS *ts, int32_t mode) ZEMT_NOEXCEPT;

/*
 * Eight conversions of the common form under the format parms->dateFormat: the text is read as ZEMTWVarcharSzToTS does,
 * checked as ZEMTValidateDateTime does in mode 3 (so a ZEMTTime needs a text and a format with a valid date, too), and
 * written: 24 bytes of ZEMTTS, or 16 of ZEMTDate or ZEMTTime with all bytes behind the third field 0. *outLen receives 24 or
 * 16. dstSize is not consulted.
 *
 * An empty text gives 30; UTF-8 is read as the conversions of section 5 do, with their statuses and parms->skipTranscode
 * (which leaves nothing to read: 54); then -1, or 54 to 59. A null src, dst, parms, dateFormat or list, a negative length of
 * a Char, Varchar, WChar or WVarchar: -1. dst and *outLen are written on success only.
 *
 * Texts of up to 127 characters (bytes, in UTF-8) and all WVarcharSz texts take no heap memory; others take one block.
 */

/*                        name                                                         *srcLen */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeCharToZEMTTS ZEMT_NONNULL(2, 5);  /* input, bytes */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeVarcharToZEMTTS ZEMT_NONNULL(5);  /* if 0: the prefix, once the UTF-8 has been read */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeSzToZEMTTS ZEMT_NONNULL(5);       /* if 0: the text's bytes, on success */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeWcharToZEMTTS ZEMT_NONNULL(2, 5); /* input, characters (not bytes) */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeWVarcharToZEMTTS ZEMT_NONNULL(5); /* if 0: the prefix, on success */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeWSzToZEMTTS ZEMT_NONNULL(2, 5);   /* if 0: the text's characters, before reading it; else
                                                                               only tells that the text is not empty */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeWSzToZEMTDate ZEMT_NONNULL(2, 5); /* like ...WSzToZEMTTS */
ZEMT_API ZEMTConversion ZEMTCnvDateTimeWSzToZEMTTime ZEMT_NONNULL(2, 5); /* like ...WSzToZEMTTS */

/*
 * Reads 8-bit text under the format string date->formatText, as ZEMTCnvDateTimeSzToZEMTTS does, and stores year, month and
 * day in *date; its other fields stay. Returns the status of ZEMTGetFormatCodes or of the conversion, and leaves *date as it
 * was unless it is 0. Formats of up to 63 characters take no heap memory; a longer one takes one block beside
 * that of a long text.
 */
ZEMT_API int32_t ZEMTDateCharToDate(const char *text, ZEMTDate *date) ZEMT_NOEXCEPT ZEMT_NONNULL(2);

#ifdef __cplusplus
}
#endif

#endif /* ZEMT_H */
