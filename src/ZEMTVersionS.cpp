// The identification strings, found in the library with strings(1). The version is written here and nowhere else: the build
// reads it from the first of them.

__attribute__((used, retain)) static const char version[] = "ZEMTVersion=2.1.0";
__attribute__((used, retain)) static const char build[] = "ZEMTBuild=0228";
