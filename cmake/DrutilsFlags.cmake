# The one place for warning and sanitizer flags.
# Warnings are errors in the project's own builds (scripts/build.sh turns the option
# on); a packager's plain build leaves it off, so that a newer compiler's new warning
# does not stop a build that would otherwise succeed.
option(DRUTILS_WERROR "Treat compiler warnings as errors" OFF)
add_library(drutils_flags INTERFACE)
target_compile_options(drutils_flags INTERFACE
    -Wall -Wextra -Wno-unused-parameter
    # Test tables leave trailing fields to their defaults on purpose.
    -Wno-missing-field-initializers)
if(DRUTILS_WERROR)
    target_compile_options(drutils_flags INTERFACE -Werror)
endif()

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
