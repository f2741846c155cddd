#include <clocale>

#include "contenders.h"

int32_t contest::empty_conversion(const void * /*src*/, int32_t * /*srcLen*/, void * /*dst*/, int32_t /*dstSize*/,
                                  int32_t * /*outLen*/, const ZEMTCnvParms * /*parms*/) noexcept
{
    return ZEMT_RC_OK;
}

int main(int argc, char **argv)
{
    contest::enter_decimals();  // the COBOL run time sets a locale of its own
    // mbsnrtowcs and wcsnrtombs take UTF-8 from the locale.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) return 1;
    contest::enter_text(ZEMT_WITH_MASKS);
    contest::enter_integers();
    contest::enter_floats();
    contest::enter_dates();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
