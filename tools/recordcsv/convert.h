// The two directions, block by block.
#pragma once

#include "layout.h"
#include "report.h"

namespace recordcsv {

void records_to_csv(const Options &options, const Layout &layout, Input &input, Output &output, Report &report);
void csv_to_records(const Options &options, const Layout &layout, Input &input, Output &output, Report &report);

}  // namespace recordcsv
