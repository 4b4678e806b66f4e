# Warnings, hardening and sanitizers for every target of ours, in one place.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)
check_pie_supported()

add_library(tallywick_flags INTERFACE)
target_compile_features(tallywick_flags INTERFACE cxx_std_20)
# Errors in our presets (CMAKE_COMPILE_WARNING_AS_ERROR), and warnings for everybody else.
target_compile_options(tallywick_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2 -ffunction-sections -fdata-sections)
target_compile_definitions(tallywick_flags INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
target_link_options(tallywick_flags INTERFACE -Wl,--gc-sections -Wl,--as-needed)
target_link_libraries(tallywick_flags INTERFACE Threads::Threads)

# Where the sources of a folder are compiled as one, one may use a name that another has made; and to
# GCC a source that is included is a header, which must not have anonymous types.
if(CMAKE_UNITY_BUILD)
  target_compile_options(tallywick_flags INTERFACE -Wno-shadow
    $<$<CXX_COMPILER_ID:GNU>:-Wno-subobject-linkage>)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(tallywick_flags INTERFACE
    -Wthread-safety -Wthread-safety-beta -Werror=thread-safety)
endif()

# tallywick_harden(<option> <own>): the compiler option, where the compiler has it and whoever builds
# has not said otherwise, which the regular expression <own> finds in the flags from outside.
function(tallywick_harden option own)
  string(MAKE_C_IDENTIFIER "TALLYWICK_HAS${option}" known)
  check_cxx_compiler_flag("${option}" ${known})
  if(${known} AND NOT CMAKE_CXX_FLAGS MATCHES "${own}")
    target_compile_options(tallywick_flags INTERFACE "${option}")
  endif()
endfunction()

tallywick_harden(-fstack-protector-strong "-f(no-)?stack-protector")
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|i[3-6]86)$")
  tallywick_harden(-fcf-protection "-fcf-protection")
else()
  tallywick_harden(-mbranch-protection=standard "-mbranch-protection")
endif()

if(TALLYWICK_SANITIZER)
  target_compile_options(tallywick_flags INTERFACE
    -fsanitize=${TALLYWICK_SANITIZER} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tallywick_flags INTERFACE -fsanitize=${TALLYWICK_SANITIZER})
else()
  tallywick_harden(-fstack-clash-protection "-f(no-)?stack-clash-protection")
  # The checks of the C library need an optimising compiler.
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    target_compile_definitions(tallywick_flags INTERFACE
      $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
  endif()
  target_compile_definitions(tallywick_flags INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(tallywick_flags INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# tallywick_library(<folder> <source>...): the static library of one folder of main/. What it may
# know is its own target_link_libraries line.
function(tallywick_library name)
  add_library(tallywick_${name} STATIC ${ARGN})
  target_include_directories(tallywick_${name} PUBLIC "${PROJECT_SOURCE_DIR}/main")
  target_link_libraries(tallywick_${name} PUBLIC tallywick_flags)
endfunction()
