# The search kernels of the target's architecture, each compiled for the CPUs that can run it.
# The global property BRAIRU_SEARCH_KERNELS has the names by which they can be forced.

function(brairu_add_kernel file)
    target_sources(brairu_core PRIVATE match/kernels/${file})
    set_source_files_properties(match/kernels/${file} PROPERTIES COMPILE_OPTIONS "${ARGN}")
endfunction()

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    set(kernels avx2 avx512vnni)
    brairu_add_kernel(avx2.cpp -mavx2)
    # g++ warns of its own header of these instructions.
    brairu_add_kernel(avx512Vnni.cpp -mavx512f -mavx512bw -mavx512vnni
        $<$<CXX_COMPILER_ID:GNU>:-Wno-uninitialized -Wno-maybe-uninitialized>)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    set(kernels neon dotproduct)
    brairu_add_kernel(neon.cpp)
    brairu_add_kernel(dotProduct.cpp -march=armv8.2-a+dotprod)
elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(kernels neon dotproduct)
    brairu_add_kernel(neon.cpp -march=armv7-a -mfpu=neon)
    brairu_add_kernel(dotProduct.cpp -march=armv8.2-a+dotprod -mfpu=neon-fp-armv8)
endif()
set_property(GLOBAL PROPERTY BRAIRU_SEARCH_KERNELS scalar ${kernels})
