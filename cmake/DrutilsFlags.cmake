# The one place for warning and sanitizer flags.
add_library(drutils_flags INTERFACE)
target_compile_options(drutils_flags INTERFACE
    -Wall -Wextra -Werror -Wno-unused-parameter
    # Test tables leave trailing fields to their defaults on purpose.
    -Wno-missing-field-initializers
    # g++ 12 at -O3 (the Release build) reports overlaps that cannot happen in
    # std::string's operator+ with a literal on the left (GCC bug 105651).
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>)

if(DRUTILS_SANITIZE STREQUAL "address")
    add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    add_link_options(-fsanitize=address,undefined)
elseif(DRUTILS_SANITIZE STREQUAL "thread")
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
    add_link_options(-fsanitize=thread)
elseif(NOT DRUTILS_SANITIZE STREQUAL "")
    message(FATAL_ERROR "DRUTILS_SANITIZE must be empty, 'address' or 'thread'")
endif()

if(DRUTILS_BUILD_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "DRUTILS_BUILD_FUZZ needs clang (CXX=clang++)")
    endif()
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()
