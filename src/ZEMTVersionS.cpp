// The identification strings, found in the library with strings(1).
#include "zemt.h"

#define ZEMT_TEXT_OF(value) #value
#define ZEMT_VERSION_TEXT(major, minor, patch) ZEMT_TEXT_OF(major) "." ZEMT_TEXT_OF(minor) "." ZEMT_TEXT_OF(patch)

__attribute__((used, retain)) static const char version[] =
    "ZEMTVersion=" ZEMT_VERSION_TEXT(ZEMT_VERSION_MAJOR, ZEMT_VERSION_MINOR, ZEMT_VERSION_PATCH);
__attribute__((used, retain)) static const char build[] = "ZEMTBuild=0228";
