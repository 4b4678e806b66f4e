# Warnings, hardening and sanitizers for every target of ours, in one place.
include(CheckPIESupported)
check_pie_supported()

add_library(tallywick_flags INTERFACE)
target_compile_features(tallywick_flags INTERFACE cxx_std_20)
target_compile_options(tallywick_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Werror
  -fstack-protector-strong -ffunction-sections -fdata-sections)
target_compile_definitions(tallywick_flags INTERFACE
  QT_NO_CAST_FROM_ASCII QT_NO_KEYWORDS QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)
target_link_options(tallywick_flags INTERFACE -Wl,--gc-sections -Wl,--as-needed)
target_link_libraries(tallywick_flags INTERFACE Threads::Threads)

if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(tallywick_flags INTERFACE
    -Wthread-safety -Wthread-safety-beta -Werror=thread-safety)
endif()

if(TALLYWICK_SANITIZER)
  target_compile_options(tallywick_flags INTERFACE
    -fsanitize=${TALLYWICK_SANITIZER} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tallywick_flags INTERFACE -fsanitize=${TALLYWICK_SANITIZER})
else()
  target_compile_options(tallywick_flags INTERFACE -fstack-clash-protection)
  target_compile_definitions(tallywick_flags INTERFACE
    $<$<CONFIG:Release>:_FORTIFY_SOURCE=2> _GLIBCXX_ASSERTIONS)
  target_link_options(tallywick_flags INTERFACE -Wl,-z,relro -Wl,-z,now)
endif()

# tallywick_library(<folder> <source>...): the static library of one folder of main/. What it may
# know is its own target_link_libraries line.
function(tallywick_library name)
  add_library(tallywick_${name} STATIC ${ARGN})
  target_include_directories(tallywick_${name} PUBLIC "${PROJECT_SOURCE_DIR}/main")
  target_link_libraries(tallywick_${name} PUBLIC tallywick_flags)
endfunction()
