// Packed decimal beside the COBOL run time, which moves between DISPLAY and COMP-3 fields, and VARNUM beside the PGTYPES numerics.
#include <cstddef>
#include <random>

// The headers of the peers stand behind those that they forget.
#include <libcob.h>
#include <pgtypes_numeric.h>

#include "contenders.h"
#include "zemt.h"

namespace {

std::string random_digits(std::mt19937_64 &random, size_t count)
{
    std::string digits(count, '0');
    for (char &digit : digits) digit = static_cast<char>('0' + random() % 10);
    return digits;
}

// ---- Packed decimal ---------------------------------------------------------------------------------------------------------

struct Field {
    ZEMTCnvParms parms;
    std::string_view narrow;
    std::wstring_view wide;
    std::string_view packed;
    cob_field_attr display_form, packed_form;
};

struct FieldRoom {
    alignas(8) char narrow[32];
    alignas(8) wchar_t wide[32];
    alignas(8) char packed[16];
};

cob_field cob_view(std::string_view data, const cob_field_attr &form)
{
    return {data.size(), reinterpret_cast<unsigned char *>(const_cast<char *>(data.data())), &form};
}

Field make_field(std::mt19937_64 &random, int digits)
{
    const auto form = [digits](unsigned short type) {
        return cob_field_attr{type, static_cast<unsigned short>(digits), 0, 0, nullptr};
    };
    const std::string narrow = random_digits(random, static_cast<size_t>(digits));
    const std::wstring wide(narrow.begin(), narrow.end());
    std::string packed(static_cast<size_t>(digits / 2 + 1), '\0');
    Field field{{}, contest::narrow_page.add(narrow), contest::wide_page.add(wide),
                {}, form(COB_TYPE_NUMERIC_DISPLAY),   form(COB_TYPE_NUMERIC_PACKED)};
    field.parms.precision = digits;
    int32_t length;
    ZEMTCnvWVarcharSzToDecKest(field.wide.data(), nullptr, packed.data(), 0, &length, &field.parms);
    field.packed = contest::narrow_page.add(packed);
    return field;
}

std::vector<Field> make_fields(int digits)
{
    std::mt19937_64 random(1);
    std::vector<Field> fields;
    while (fields.size() < 16384) fields.push_back(make_field(random, digits));
    return fields;
}

void unpack_zemt(const Field &field, FieldRoom &room)
{
    int32_t length;
    ZEMTCnvDecKestToWVarcharSz(field.packed.data(), nullptr, room.wide, sizeof room.wide, &length, &field.parms);
}

void unpack_cobol(const Field &field, FieldRoom &room)
{
    cob_field from = cob_view(field.packed, field.packed_form);
    cob_field to = cob_view({room.narrow, field.narrow.size()}, field.display_form);
    cob_move(&from, &to);
}

void pack_zemt(const Field &field, FieldRoom &room)
{
    int32_t length;
    ZEMTCnvWVarcharSzToDecKest(field.wide.data(), nullptr, room.packed, sizeof room.packed, &length, &field.parms);
}

void pack_cobol(const Field &field, FieldRoom &room)
{
    cob_field from = cob_view(field.narrow, field.display_form);
    cob_field to = cob_view({room.packed, field.packed.size()}, field.packed_form);
    cob_move(&from, &to);
}

// The same function on long fields and on short ones.
struct Growth {
    Field longest, shortest;
};

template <void (*run)(const Field &, FieldRoom &)>
void enter_growth(const std::string &work)
{
    std::vector<Growth> values;
    const std::vector<Field> longest = make_fields(31);
    const std::vector<Field> shortest = make_fields(5);
    for (size_t i = 0; i < longest.size(); ++i) values.push_back({longest[i], shortest[i]});
    contest::enter<Growth, FieldRoom>(
        work, values, FieldRoom{},
        {{"zemt", [](const Growth &value, FieldRoom &room) { run(value.longest, room); }},
         {"the same, 5 digits x0.5", [](const Growth &value, FieldRoom &room) { run(value.shortest, room); }}});
}

void enter_packed()
{
    for (const int digits : {5, 9, 18, 31}) {
        const std::string name = "packed, " + std::to_string(digits) + " digits";
        contest::enter<Field, FieldRoom>(name + ", to wide text", make_fields(digits), FieldRoom{},
                                         {{"zemt", unpack_zemt}, {"COBOL run time, narrow x2.5", unpack_cobol}});
        contest::enter<Field, FieldRoom>("wide text to " + name, make_fields(digits), FieldRoom{},
                                         {{"zemt", pack_zemt}, {"COBOL run time, narrow x2.5", pack_cobol}});
    }
    enter_growth<unpack_zemt>("packed, growth to 31 digits, to wide text");
    enter_growth<pack_zemt>("wide text to packed, growth to 31 digits");
}

// ---- VARNUM -----------------------------------------------------------------------------------------------------------------

struct Decimal {
    std::string_view narrow;
    std::wstring_view wide;
    std::string_view varnum;
    numeric *number;
};

struct DecimalRoom {
    wchar_t wide[170];
    char varnum[22];
};

// A point stands anywhere in the number, or nowhere.
Decimal make_decimal(std::mt19937_64 &random, size_t digits)
{
    std::string narrow = random_digits(random, digits);
    narrow[0] = static_cast<char>('1' + random() % 9);
    const size_t point = 1 + random() % digits;
    if (point < digits) narrow.insert(point, 1, '.');
    const std::wstring wide(narrow.begin(), narrow.end());
    char varnum[22];
    int32_t source_length = 0;
    int32_t length = 0;
    ZEMTCnvWVarcharSz_UnsignedToOraVarnum(wide.c_str(), &source_length, varnum, sizeof varnum, &length, nullptr);
    return {contest::narrow_page.add(narrow), contest::wide_page.add(wide),
            contest::narrow_page.add({varnum, static_cast<size_t>(length)}), PGTYPESnumeric_from_asc(narrow.data(), nullptr)};
}

std::vector<Decimal> make_decimals(size_t least, size_t most)
{
    std::mt19937_64 random(1);
    std::vector<Decimal> decimals;
    while (decimals.size() < 16384) decimals.push_back(make_decimal(random, least + random() % (most - least + 1)));
    return decimals;
}

void format_zemt(const Decimal &decimal, DecimalRoom &room)
{
    int32_t source_length;
    int32_t length;
    ZEMTCnvOraVarnumToWVarcharSz_Unsigned(decimal.varnum.data(), &source_length, room.wide, sizeof room.wide, &length, nullptr);
}

void format_pgtypes(const Decimal &decimal, DecimalRoom & /*room*/)
{
    char *const text = PGTYPESnumeric_to_asc(decimal.number, -1);
    benchmark::DoNotOptimize(text);
    PGTYPESchar_free(text);
}

void parse_zemt(const Decimal &decimal, DecimalRoom &room)
{
    int32_t source_length;
    int32_t length;
    ZEMTCnvWVarcharSz_UnsignedToOraVarnum(decimal.wide.data(), &source_length, room.varnum, sizeof room.varnum, &length,
                                          nullptr);
}

void parse_pgtypes(const Decimal &decimal, DecimalRoom & /*room*/)
{
    numeric *const number = PGTYPESnumeric_from_asc(const_cast<char *>(decimal.narrow.data()), nullptr);
    benchmark::DoNotOptimize(number);
    PGTYPESnumeric_free(number);
}

void call_nothing(const Decimal &decimal, DecimalRoom &room)
{
    int32_t source_length;
    int32_t length;
    contest::empty_conversion(decimal.varnum.data(), &source_length, room.wide, sizeof room.wide, &length, nullptr);
}

void enter_varnum()
{
    contest::enter<Decimal, DecimalRoom>("VARNUM, 1 to 38 digits, to wide text", make_decimals(1, 38), DecimalRoom{},
                                         {{"zemt", format_zemt}, {"PGTYPESnumeric_to_asc, narrow x4", format_pgtypes}});
    contest::enter<Decimal, DecimalRoom>("wide text to VARNUM, 1 to 38 digits", make_decimals(1, 38), DecimalRoom{},
                                         {{"zemt", parse_zemt}, {"PGTYPESnumeric_from_asc, narrow x4", parse_pgtypes}});
    for (const size_t digits : {1u, 10u, 20u, 38u}) {
        const std::string name = "VARNUM, " + std::to_string(digits) + " digits";
        const std::string empty = "empty call +" + std::to_string(10 + digits);
        contest::enter<Decimal, DecimalRoom>(name + ", to wide text", make_decimals(digits, digits), DecimalRoom{},
                                             {{"zemt", format_zemt}, {empty.c_str(), call_nothing}});
        contest::enter<Decimal, DecimalRoom>("wide text to " + name, make_decimals(digits, digits), DecimalRoom{},
                                             {{"zemt", parse_zemt}, {empty.c_str(), call_nothing}});
    }
}

}  // namespace

void contest::enter_decimals()
{
    cob_init(0, nullptr);
    enter_packed();
    enter_varnum();
}
