// Which instructions a build may use, and which of them the processor has.
#pragma once

#if defined(__x86_64__) && !defined(ZEMT_PORTABLE)
#define ZEMT_X86_64 1
#include <immintrin.h>
#else
#define ZEMT_X86_64 0
#endif

#define ALWAYS_INLINE inline __attribute__((always_inline))

#if ZEMT_X86_64

namespace zemt {

// What is used of a processor: SSE2, which all have; AVX2; AVX-512 with masks for single bytes.
enum class Level { Baseline, WideRegisters, ByteMasks };

// A build may stay below its processor: benchmarks to show what others get, tests to run all levels in one program.
#ifndef ZEMT_HIGHEST_LEVEL
#define ZEMT_HIGHEST_LEVEL Level::ByteMasks
#endif

extern Level tested_level;  // the tests' own

inline bool may_use(Level level)
{
    return level <= ZEMT_HIGHEST_LEVEL;
}

// Code of a function with one of these marks may only run where the processor has what it names.
#define ZEMT_WIDE_REGISTERS __attribute__((target("avx2,bmi,bmi2,popcnt")))

inline bool has_wide_registers()
{
    return may_use(Level::WideRegisters) && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
           __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("popcnt");
}

// Bytes are loaded, stored, dropped and spread one by one.
#define ZEMT_BYTE_MASKS __attribute__((target("avx512f,avx512bw,avx512vl,avx512vbmi,avx512vbmi2,bmi,bmi2,popcnt")))

inline bool has_byte_masks()
{
    return may_use(Level::ByteMasks) && has_wide_registers() && __builtin_cpu_supports("avx512bw") &&
           __builtin_cpu_supports("avx512vl") && __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2");
}

}  // namespace zemt

#endif
