#include "validation.h"

int32_t ZEMTValidateDateTime(const ZEMTTS *ts, int32_t mode) noexcept
{
    return ts == nullptr ? ZEMT_RC_ERROR : zemt::check(*ts, mode);
}
