// Values that anyone can check by hand: what a model has misunderstood as the library has shows here alone.
#include "expect.h"

namespace {

// Of a length cell that held 0 where the source has a length of its own. The size is an argument, and a precision.
const struct {
    const char *name;
    std::string source;
    int32_t size, status;
    std::string value;  // without what its layout adds
    int32_t out_length, source_length;
} examples[] = {
    // clang-format off
    {"Convert32To8", wide(L"\xE9\xFFFF\x10000\x7FFFFFFF"), 15, 0, "\xC3\xA9\xEF\xBF\xBF\xF0\x90\x80\x80\xFD\xBF\xBF\xBF\xBF\xBF", 15, 4},
    {"Convert32To8", wide(L"a\xE9"), 2, 28, "a", 1, 2}, {"Convert32To8", wide(L"a\x80000000"), 9, 22, "a", 1, 2},
    {"Convert8To32", "\xEF\xBF\xBD\xA9\xE2\x82\xAC\xC0\x80z", 9, 0, wide(L"?\xA9\x20AC"), 3, 10}, {"Convert8To32", "a\0b"s, 9, 0, wide(L"a"), 1, 3},
    {"Convert8To32", "a\xC3(b", 9, 0, wide(L"a"), 1, 4}, {"Convert8To32", "a\xE2\x82", 9, 28, wide(L"a"), 1, 3},
    {"Convert16To8", "\x3D\xD8\0\xDE"s, 9, 0, "\xF0\x9F\x98\x80", 4, 2}, {"Convert16To8", "\0\xDE"s, 9, 22, "", 0, 1}, {"Convert16To8", "\x3D\xD8\x41\0"s, 9, 22, "", 0, 2},
    {"Convert8To16", "\xF0\x9F\x98\x80", 2, 0, "\x3D\xD8\0\xDE"s, 2, 4}, {"Convert8To16", "\xF0\x9F\x98\x80", 1, 28, "", 0, 4}, {"Convert8To16", "\xF4\x90\x80\x80", 2, 22, "", 0, 4},

    {"ZEMTCnvCharToVarcharSz", "abcdef", 4, 0, "abcd", 4, 6}, {"ZEMTCnvVarcharToVarcharSz", "hello", 3, 0, "hel", 3, 3},
    {"ZEMTCnvVarcharToWVarcharSz", "hello", 24, 0, wide(L"hello"), 5, 5}, {"ZEMTCnvVarcharSzToWVarcharSz", "abc", 8, 28, wide(L"ab"), kept, 0},
    {"ZEMTCnvVarcharSzToWVarcharSz", "\xC3\xA9", 4, 0, wide(L"\xE9"), 1, 2}, {"ZEMTCnvVarcharSzToWVarcharSz", "", 4, 30, "", kept, 0},
    {"ZEMTCnvWVarcharSzToVarcharSz", wide(L"\xE9"), 2, 0, "\xC3\xA9", 2, 4}, {"ZEMTCnvVarcharSzToVarcharSz", "", 9, 0, "", 0, 0},
    {"ZEMTCnvWCharToVarcharSz", wide(L"\xE9"), 2, 0, "\xE9", 1, 4}, {"ZEMTCnvWCharToVarcharSz", wide(L"\x20AC"), 2, -1, "", kept, 4},
    {"ZEMTCnvWCharToVarcharSz", "abc", 2, 30, "", kept, 3}, {"ZEMTCnvWVarcharSzToVarchar", "", 4, 0, "", 2, 0}, {"ZEMTCnvWVarcharSzToVarchar", wide(L"abc"), 4, 28, "\xB7\xB7\x61\x62", kept, 0},
    {"ZEMTCnvVarcharSzToVarchar", "abc", 2, 0, "ab", 4, 2}, {"ZEMTCnvWVarcharToWVarcharSz", wide(L"ab"), 4, 0, wide(L"a"), 1, 8},
    {"ZEMTCnvWVarcharToVarcharSz", wide(L"ab"), 1, 0, "a", 1, 4}, {"ZEMTCnvWCharToWVarcharSz", wide(L"a\0b"s), 16, 0, wide(L"a\0\0"s), 3, 12},
    {"ZEMTCnvCharToWVarcharSz", "a\0b"s, 16, 0, wide(L"a"), 1, 3}, {"ZEMTCnvVarcharSzToChar", "abc", 2, 0, "ab", 2, 2}, {"ZEMTCnvWVarcharSzToWVarchar", wide(L"ab"), 8, 0, wide(L"ab"), 10, 8},
    {"ZEMTCnvVarcharSzToWVarchar", "a", 6, 0, wide(L"a"), 6, 1}, {"ZEMTCnvWVarcharSzToWVarcharSzOut", wide(L"ab"), 8, 0, wide(L"ab"), 8, 8},

    {"TrimSpaces", "  ab  ", 0x101, 0, "ab\0"s, 2, 6}, {"TrimSpaces", "  ab  ", 1, 0, "ab  ", 4, 6}, {"TrimSpaces", "ab  ", 0x100, 0, "ab\0"s, 2, 4}, {"TrimSpaces", "   ", 0x101, 0, "   ", 0, 3},
    {"TrimSpaces", "\tab", 0x101, 0, "\tab\0"s, 3, 3}, {"TrimSpaces", " a ", 0x202, 0, " a ", 3, 3}, {"TrimAllSpacesTabsW", wide(L" a\tb c "), 0, 0, wide(L"abc\0"s), 3, 7}, {"TrimSpacesW", wide(L"a\0 "s), 0x100, 0, wide(L"a\0\0"s), 2, 3},

    {"ZEMTCnvTinyIntToWVarcharSz", image(INT8_MIN).substr(0, 1), 0, 0, wide(L"-128"), 4, 1}, {"ZEMTCnvLongLongToWVarcharSz", image(INT64_MIN), 0, 0, wide(L"-9223372036854775808"), 20, 8},
    {"ZEMTCnvUIntToVarcharSz", image(4294967295u), 0, 0, "4294967295", 10, 4}, {"ZEMTCnvUIntToVarcharSz", image(0), 0, 0, "", 0, 4}, {"ZEMTCnvIntToWVarcharSz", image(-5), 0, 27, "", kept, 0},
    {"ZEMTCnvWVarcharSzToSmallInt", wide(L"40000"), 0, 0, image(int16_t{-25536}), 2, 20}, {"ZEMTCnvWVarcharSzToSmallInt", wide(L"-"), 0, 0, "\0\0"s, 2, 4},
    {"ZEMTCnvWVarcharSzToInt1", wide(L"+12"), 0, -1, "", kept, 0}, {"ZEMTCnvWVarcharSzToTinyUInt", wide(L"300"), 0, 0, "\x2C", 1, 12}, {"ZEMTCnvVarcharSzToUInt", "-1", 0, -1, "", kept, 0},

    {"ZEMTCnvDblToWVarcharSz", image(-0.00123), 31, 0, wide(L"-1.2300000000000000E-03"), 23, 0}, {"ZEMTCnvDblToWVarcharSz", image(1.0), 30, -1, "", kept, 0},
    {"ZEMTCnvFltToWVarcharSz", image(3.4028235e38f), 31, 0, wide(L"3.4028235E+38"), 13, 0}, {"FloatToString", image(1.5), 0, 0, wide(L"2.E+00"), 6, 0}, {"FloatToString", image(9.5e20), 0, 0, wide(L"1.E+21"), 6, 0},
    {"ZEMTCnvWVarcharSzToDbl", wide(L"  2.5xyz"), 0, 0, image(2.5), kept, 0}, {"ZEMTCnvWVarcharSzToDbl", wide(L"0x1p3"), 0, 0, image(8.0), kept, 0}, {"ZEMTCnvWVarcharSzToDbl", wide(L"0.0"), 0, -1, "", kept, 0},

    {"ZEMTCnvDecKestToVarcharSz", "\0\x12\x3C"s, 5, 0, "123", 3, 3}, {"ZEMTCnvDecKestToVarcharSz", "\x91\x23\x4C", 4, 0, "91234", 5, 3}, {"ZEMTCnvDecKestToVarcharSz", "\x12\x3C\0"s, 5, -1, "123\0"s, 3, 3},
    {"ZEMTCnvWVarcharSzToDecKest", wide(L"123"), 5, 0, "\0\x12\x3C"s, 3, 12}, {"ZEMTCnvVarcharSzToDecKest", "12345", 4, 0, "\x12\x34\x5C", 3, 5}, {"ZEMTCnvVarcharSzToDecKest", "-12", 3, 0, "\xD1\x2C", 2, 3},

    {"ZEMTCnvOraVarnumToVarcharSz_Unsigned", "\1\x80", 0, 0, "0", 1, 2}, {"ZEMTCnvOraVarnumToVarcharSz_Unsigned", "\3\xC1\2\x33", 0, 0, "1.50", 4, 4}, {"ZEMTCnvOraVarnumToVarcharSz_Unsigned", "\2\xBE\2", 0, 0, ".000001", 7, 3},
    {"ZEMTCnvOraVarnumToWVarcharSz_Unsigned", "\2\xC2\2", 0, 0, wide(L"100"), 3, 3}, {"ZEMTCnvOraVarnumToWVarcharSz_Unsigned", "\3\x3E\x64\x66", 0, -1, "", 0, 4},
    {"ZEMTCnvVarcharSz_UnsignedToOraVarnum", "1234567.1", 0, 0, "\6\xC4\2\x18\x2E\x44\xB", 7, 9}, {"ZEMTCnvWVarcharSz_UnsignedToOraVarnum", wide(L"0.5"), 0, 0, "\2\xC0\x33", 3, 3},
    {"ZEMTCnvVarcharSz_UnsignedToOraVarnum", "0.0", 0, 0, "\1\x80", 2, 3}, {"ConvertBCDToOraVarNum", "\xC\x22", 2 | '-' << 16, 0, "\4\x3E\x59\x43\x66", kept, 2},
    // clang-format on
};

TEST(Examples, AreWhatTheModelsSay)
{
    for (const auto &[name, source, size, status, value, out_length, source_length] : examples) {
        const Function &f = *std::ranges::find(functions, std::string_view(name), &Function::name);
        const bool is_counted = f.from == Char || f.from == WChar || f.from == Char16;
        const ZEMTCnvParms parms{{}, size, 0, 0, 0, nullptr};
        const std::string end(f.family == Trimming ? unit_of[f.from] : 0, '\0');  // room for it
        const Call c{source_of(f.from, source) + end, is_counted ? length_of(f, source.size()) : 0, size, &parms};
        const Outcome model = f.model(f, c);
        const std::string left = status == 0 && f.family != Trimming ? laid_out(f.to, value) : value;
        EXPECT_EQ(shown({model.status, model.value.substr(0, left.size()), model.out_length, model.source_length}),
                  shown({status, left, out_length, source_length}))
            << name << " of " << shown(source);
        EXPECT_EQ(examine(f, c, model), "");
    }
}

}  // namespace
