// Columns of records: for each type the layout of its slot, the library's conversions to and from text, and what it takes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "buffer.h"
#include "zemt.h"

namespace recordcsv {

// A value that cannot be converted; what() says why.
struct ValueFailure : std::runtime_error {
    ValueFailure(int32_t failed_status, const std::string &why) : std::runtime_error(why), status(failed_status) {}
    explicit ValueFailure(const std::string &why) : ValueFailure(ZEMT_RC_ERROR, why) {}

    int32_t status;
};

// Throws "status 56, month outside 1..12".
[[noreturn]] void refuse(int32_t status);

inline void require_success(int32_t status)
{
    if (status != ZEMT_RC_OK) [[unlikely]]
        refuse(status);
}

// What a type's values are, which decides how they are read back and compared.
enum class Family { Text, WideText, Integer, Float, Packed, Varnum, Moment, Filler };

// How a value lies in its slot.
enum class Frame {
    Whole,       // the slot is the value
    Padded,      // characters, then blanks
    Prefixed,    // a 16-bit length in bytes, then the characters
    Terminated,  // characters and a terminator
    Counted      // a byte that counts those behind it, then bytes that say nothing
};

// What follows a type's name in a layout file.
enum class Takes { Nothing, Length, Precision, Format };

struct ColumnType {
    std::string_view name;
    Family family;
    Frame frame;
    Takes takes;
    int32_t unit;               // bytes of a character, or of a slot that has one size
    int32_t largest;            // length or precision a layout may ask for
    ZEMTConversion *to_text;    // slot to VarcharSz for integers, packed numbers and VARNUMs, to WVarcharSz for the others
    ZEMTConversion *from_text;  // and back
    std::string_view expected;  // what a field has to be: "an integer of -128..127"
    int32_t format_kind = 0;    // the one kind of format that suits (ZEMT_KIND_...); 0: any
};

// Null where there is no such type.
const ColumnType *find_type(std::string_view name);

// "Char(n), Varchar(n), ..., Int, ..."
std::string type_names();

// A date format as the library wants it. Stays where it is: the library is given pointers into it.
struct PreparedFormat {
    explicit PreparedFormat(std::string_view format);
    PreparedFormat(const PreparedFormat &) = delete;
    PreparedFormat &operator=(const PreparedFormat &) = delete;

    bool has(uint32_t code) const;

    std::vector<ZEMTFmtItem> items;
    ZEMTDateFormat prepared{};
    int32_t kind = 0;
    std::string ending;  // the literals behind the last keyword, which are read but not written
};

// One column of a layout.
struct Column {
    std::string name;
    const ColumnType *type = nullptr;
    int32_t length = 0;  // or precision, of "Type(number)"; else 0
    int32_t scale = 0;   // digits behind the implied point of "DecKest(precision,scale)"
    bool trim = false;   // whether blanks around its text are removed
    std::string format = {};
    std::string encoding = {};  // of 8-bit text; empty: UTF-8
    char blank = ' ';           // in that encoding
    std::size_t offset = 0;     // of the slot in its record
    std::size_t slot_size = 0;
    int32_t write_room = 0;      // the room that the conversion into the slot is told
    int32_t text_room = 0;       // characters for the text of any value, without terminator
    bool is_plain_text = false;  // neither trimmed nor in another encoding than UTF-8
    std::unique_ptr<PreparedFormat> write_format = {};
    std::unique_ptr<PreparedFormat> read_format = {};
    ZEMTCnvParms write_parms{};
    ZEMTCnvParms read_parms{};

    // Works out what follows from the type and the members before offset.
    void prepare();
    // "text of up to 9 bytes of UTF-8"
    std::string expected() const;
};

// The bytes of the value in a slot. Throws where the slot does not hold one: the library is never sent out of the slot.
std::string_view value_in(const Column &column, const char *slot);

// Makes a slot hold the empty value.
void clear_slot(const Column &column, char *slot);

// The library reads a time only together with a valid date, which this is.
constexpr char padded_date[11 + readable_behind + 1] = "2000-01-01 ";
constexpr std::string_view date_before_time(padded_date, 11);

// Whether a text is what UTF-8 is today: without surrogates, values above 0x10FFFF and forms of its own.
bool is_utf8(std::string_view text);

// A text in quotes for a message: cut where it is long, without control characters.
std::string shown(std::string_view text);

}  // namespace recordcsv
