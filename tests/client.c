/* A client in C99: the records' layout, and a call through a dispatch table. */
#include <stddef.h>

#include "zemt.h"

static ZEMTConversion *const table[] = {ZEMTCnvCharToVarcharSz, ZEMTCnvWVarcharSzToInt1, ZEMTCnvZEMTTSToChar};

#define REQUIRE(condition)                                                                                                     \
    do {                                                                                                                       \
        if (!(condition)) return __LINE__ % 256;                                                                               \
    } while (0)

int main(void)
{
    REQUIRE(offsetof(ZEMTCnvParms, precision) == 16 && offsetof(ZEMTCnvParms, skipTranscode) == 24);
    REQUIRE(offsetof(ZEMTCnvParms, dateFormat) == 32 && sizeof(ZEMTCnvParms) == 40);
    REQUIRE(offsetof(ZEMTTS, fraction) == 12 && offsetof(ZEMTDate, formatText) == 8 && offsetof(ZEMTTime, second) == 4);
    REQUIRE(offsetof(ZEMTFmtItem, position) == 12 && offsetof(ZEMTDateFormat, formatLength) == 40);

    char text[8];
    int32_t source_length = 3, length = 0, number = 0;
    REQUIRE(table[0]("abc", &source_length, text, 7, &length, NULL) == ZEMT_RC_OK && length == 3 && text[3] == '\0');
    REQUIRE(table[1](L"-42", NULL, &number, 4, &length, NULL) == ZEMT_RC_OK && number == -42 && length == 4);
    REQUIRE(table[2](&number, NULL, text, 8, &length, NULL) == ZEMT_RC_ERROR);

    unsigned char varnum[ZEMT_SIZE_ORA_VARNUM], pair[] = {1};
    REQUIRE(ConvertBCDToOraVarNum(varnum, pair, 1, 0, '-') == ZEMT_RC_OK && varnum[0] == 3 && varnum[2] == 100);
    return 0;
}
