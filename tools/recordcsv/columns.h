// The dispatch table: for each column type the layout of its slot and the library's conversions to and from wide text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "zemt.h"

namespace recordcsv {

// A value that cannot be converted; what() says why.
struct ValueFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// "status 56, month outside 1..12"
std::string describe_status(int32_t status);
void require_success(int32_t status);

struct Column;

// How a value lies in its slot.
enum class Frame {
    Whole,       // the slot is the value
    Padded,      // characters, then blanks
    Prefixed,    // a 16-bit length in bytes, then the characters
    Terminated,  // characters and a terminator
    Counted      // a byte that counts those behind it, then bytes that say nothing
};

struct Storage {
    Frame frame;
    int32_t unit;                           // bytes of a character
    int32_t (*slot_size)(int32_t length);   // bytes, from the number in "Type(number)"
    int32_t (*write_room)(int32_t length);  // the room that the conversion into the slot is told
};

// What follows a type's name in a layout file.
enum class Takes { Nothing, Length, Precision, Format };

// What an empty CSV field stands for.
enum class Empty {
    Text,    // the empty text
    Zero,    // the number 0
    Unset,   // a slot of 0 bytes
    Refused  // nothing: all bytes 0 is a value of its own
};

// How a field that is a zero in any notation gets into its slot. Back in CSV it is "0", or "-0" where the slot says so.
enum class Zero {
    None,       // it does not: the type is no number
    Converted,  // the library is given "0"
    Cleared     // all bytes are 0, but for the sign of minus zero: the library takes none
};

struct Rules {
    Takes takes;
    Empty empty;
    // Whether a value of a slot and the one that its CSV field gives back are the same.
    bool (*same_slot)(const Column &column, std::span<const std::byte> value, std::span<const std::byte> read_back);
    // Whether a field and the text that its slot gives back are the same value.
    bool (*same_value)(const Column &column, std::string_view field, std::string_view read_back);
    Zero zero = Zero::None;
    int32_t format_kind = 0;  // the one kind of format that suits (ZEMT_KIND_...); 0: any
    // Put in front of the column's format and of each field when reading fields.
    std::string_view leading_format = {};
    std::string_view leading_text = {};
};

struct ColumnType {
    std::string_view name;
    int32_t largest;  // length or precision a layout may ask for
    const Storage &storage;
    const Rules &rules;
    ZEMTConversion *to_text;    // slot to WVarcharSz
    ZEMTConversion *from_text;  // WVarcharSz to slot
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

    std::vector<ZEMTFmtItem> items;
    ZEMTDateFormat prepared{};
    int32_t kind = 0;
    std::string ending;  // the literals behind the last keyword, which are read but not written
};

// One column of a layout.
struct Column {
    std::string name;
    const ColumnType *type = nullptr;
    int32_t length = 0;      // or precision, of "Type(number)"; else 0
    bool trim = false;       // whether blanks around its text are removed
    std::size_t offset = 0;  // of the slot in its record
    std::unique_ptr<PreparedFormat> write_format = {};
    std::unique_ptr<PreparedFormat> read_format = {};

    int32_t slot_size() const { return type->storage.slot_size(length); }
};

// The bytes of the value in a slot. Throws where the slot does not hold one: the library is never sent out of the slot.
std::span<const std::byte> value_in(const Column &column, std::span<const std::byte> slot);

// Makes a slot hold the empty value.
void clear_slot(const Column &column, std::span<std::byte> slot);

}  // namespace recordcsv
