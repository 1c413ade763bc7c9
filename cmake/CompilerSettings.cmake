# How all of our own code is compiled.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE Release)
endif()

# The libraries stay at the top of the build folder and find each other there and wherever they are
# moved together.
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_BUILD_RPATH "$ORIGIN")

# Results must be the same bytes on every processor: no fused multiply-add, no fast math. Files and
# times are 64-bit on 32-bit boards too.
add_compile_options(-ffp-contract=off -fno-fast-math)
add_compile_definitions(_FILE_OFFSET_BITS=64)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Else a file stamped later than January 2038, by a clock that was never set, has no status.
    add_compile_definitions(_TIME_BITS=64)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i.86|x86)$")
    add_compile_options(-msse2 -mfpmath=sse)
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety>
                        $<$<COMPILE_LANGUAGE:CXX>:-Wthread-safety-beta>)
endif()

# A build for a sanitizer: "address,undefined" or "thread". What it finds ends the program.
set(BRAIRU_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them")
if(BRAIRU_SANITIZE)
    set(BRAIRU_SANITIZER_FLAGS -fsanitize=${BRAIRU_SANITIZE})
    add_compile_options(${BRAIRU_SANITIZER_FLAGS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(${BRAIRU_SANITIZER_FLAGS})
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
        # Instrumented, g++ takes the insides of std::regex for uninitialised. The release build keeps
        # the warning.
        add_compile_options(-Wno-maybe-uninitialized)
    endif()
endif()
