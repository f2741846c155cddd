# What every target of the project is compiled with.
add_library(zemt_options INTERFACE)
target_compile_features(zemt_options INTERFACE cxx_std_20)
target_compile_options(zemt_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wsign-conversion>
  $<$<BOOL:${ZEMT_WERROR}>:-Werror>)
# GCC 12 takes the concatenation of a literal and a std::string for an overlapping copy.
target_compile_options(zemt_options INTERFACE
  $<$<AND:$<COMPILE_LANG_AND_ID:CXX,GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>)
if(ZEMT_SANITIZE)
  set(sanitizer_flags -fsanitize=${ZEMT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(zemt_options INTERFACE ${sanitizer_flags})
  target_link_options(zemt_options INTERFACE ${sanitizer_flags})
endif()

# What the library is compiled with as distributions compile theirs. The sources' place does not show in it.
set(hardening -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
if(NOT ZEMT_SANITIZE)
  list(APPEND hardening -fstack-protector-strong -fstack-clash-protection
    $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE> $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=3>)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND hardening -fcf-protection)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    list(APPEND hardening -mbranch-protection=standard)
  endif()
endif()
