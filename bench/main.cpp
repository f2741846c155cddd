#include <clocale>

#include "contenders.h"

int main(int argc, char **argv)
{
    // mbsnrtowcs and wcsnrtombs take UTF-8 from the locale.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) return 1;
    contest::enter_text();
    contest::enter_integers();
    contest::enter_dates();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
