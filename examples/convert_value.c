/* The road of one timestamp: a Varchar column becomes a record, and the record a Varchar again. */
#include <stdio.h>
#include <string.h>
#include <wchar.h>

#include "zemt.h"

/* A value as a database delivers it: 2 bytes of length, then the characters. */
struct varchar {
    int16_t length;
    char text[40];
};

int main(void)
{
    /* Once for each column: parse the format. */
    static const wchar_t format[] = L"%YYYY-%MM-%DD %HH24:%MI:%SS";
    ZEMTFmtItem list[sizeof format / sizeof *format]; /* an entry a character, and one for the end */
    memset(list, 0, sizeof list);
    int32_t kind = ZEMT_KIND_DATE;
    if (ZEMTGetFormatCodes(format, list, &kind) != ZEMT_RC_OK) return 1;
    const ZEMTDateFormat date_format = {.formatCodes = list, .formatLength = (int32_t)wcslen(format)};
    const ZEMTCnvParms parms = {.dateFormat = &date_format};

    /* Once for each value: one call. */
    struct varchar value = {19, "2024-01-15 13:45:30"};
    ZEMTTS ts;
    int32_t source_length = 0;
    int32_t length;
    int32_t status = ZEMTCnvDateTimeVarcharToZEMTTS(&value, &source_length, &ts, sizeof ts, &length, &parms);
    printf("status %d: year %d, month %d, day %d, %d:%d:%d\n", (int)status, ts.year, ts.month, ts.day, ts.hour, ts.minute,
           ts.second);
    if (status != ZEMT_RC_OK) return 1;

    /* And back. */
    memset(&value, 0, sizeof value);
    status = ZEMTCnvZEMTTSToVarchar(&ts, NULL, &value, sizeof value, &length, &parms);
    printf("status %d: a Varchar of %d bytes, \"%.*s\"\n", (int)status, (int)length, (int)value.length, value.text);
    return status == ZEMT_RC_OK ? 0 : 1;
}
