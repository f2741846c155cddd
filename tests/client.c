/* A client in C99: the records' layout, and a call through a dispatch table. */
#include <stddef.h>

#include "zemt.h"

static ZEMTConversion *const table[] = {ZEMTCnvCharToVarcharSz, ZEMTCnvWVarcharSzToInt1, ZEMTCnvZEMTTSToChar,
                                        ZEMTCnvWVarcharSzToDbl, ZEMTCnvDecKestToVarcharSz};

#define REQUIRE(condition)                                                                                                     \
    do {                                                                                                                       \
        if (!(condition)) return __LINE__ % 256;                                                                               \
    } while (0)

int main(void)
{
    REQUIRE(offsetof(ZEMTCnvParms, precision) == 16 && offsetof(ZEMTCnvParms, skipTranscode) == 24);
    REQUIRE(offsetof(ZEMTCnvParms, dateFormat) == 32 && sizeof(ZEMTCnvParms) == 40);
    REQUIRE(offsetof(ZEMTTS, month) == 2 && offsetof(ZEMTTS, second) == 10 && offsetof(ZEMTTS, fraction) == 12);
    REQUIRE(sizeof(ZEMTTS) == 24 && sizeof(ZEMTDate) == 16 && sizeof(ZEMTTime) == 16);
    REQUIRE(offsetof(ZEMTDate, day) == 4 && offsetof(ZEMTDate, formatText) == 8 && offsetof(ZEMTTime, second) == 4);
    REQUIRE(sizeof(ZEMTFmtItem) == 16 && offsetof(ZEMTFmtItem, code) == 4 && offsetof(ZEMTFmtItem, length) == 8);
    REQUIRE(offsetof(ZEMTFmtItem, position) == 12 && sizeof(ZEMTDateFormat) == 48);
    REQUIRE(offsetof(ZEMTDateFormat, formatCodes) == 32 && offsetof(ZEMTDateFormat, formatLength) == 40);

    char text[8];
    int32_t source_length = 3, length = 0, number = 0;
    REQUIRE(table[0]("abc", &source_length, text, 7, &length, NULL) == ZEMT_RC_OK && length == 3 && text[3] == '\0');
    REQUIRE(table[1](L"-42", NULL, &number, 4, &length, NULL) == ZEMT_RC_OK && number == -42 && length == 4);
    REQUIRE(table[2](&number, NULL, text, 8, &length, NULL) == ZEMT_RC_ERROR);

    double real = 0;
    unsigned char varnum[22], pair[] = {1};
    const ZEMTCnvParms five = {{0}, 5, 0, 0, 0, NULL};
    REQUIRE(table[3](L"-2.5x", NULL, &real, 8, NULL, NULL) == ZEMT_RC_OK && real == -2.5);
    REQUIRE(ConvertBCDToOraVarNum(varnum, pair, 1, 0, '-') == ZEMT_RC_OK && varnum[0] == 3 && varnum[2] == 100);
    REQUIRE(table[4]("\x01\x23\x4C", NULL, text, 6, &length, &five) == ZEMT_RC_OK && length == 4 && text[3] == '4');
    return 0;
}
