# Warnings for our own targets. The presets make them errors; an unknown compiler may warn about more.
option(ZEFT_WERROR "Make warnings errors" OFF)
function(zeft_warnings target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic $<$<BOOL:${ZEFT_WERROR}>:-Werror> -Wshadow -Wconversion -Wcast-align -Wnon-virtual-dtor
        -Woverloaded-virtual -Wnull-dereference -Wformat=2)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # g++ 12 sees overlaps in any sum of a literal and a std::string (its bug 105651).
        target_compile_options(${target} PRIVATE -Wno-restrict)
    endif()
    if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        target_compile_options(${target} PRIVATE -Wno-sign-conversion)
    endif()
endfunction()
