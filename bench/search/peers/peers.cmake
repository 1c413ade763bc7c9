# The libraries that the search is compared with, each if it is there: FAISS as Debian packages it,
# the others from their sources in BRAIRU_BENCH_PEERS, compiled as their own builds do it.

set(BRAIRU_BENCH_PEERS ${CMAKE_BINARY_DIR}/peers CACHE PATH
    "Folder with the peers that fetchPeers.sh fetched")

function(brairu_add_peer name)
    target_sources(brairu-bench PRIVATE search/peers/${name}Search.cpp)
    target_link_libraries(brairu-bench PRIVATE ${ARGN})
endfunction()

find_package(OpenMP QUIET)
find_package(faiss QUIET)
if(TARGET faiss AND OpenMP_CXX_FOUND)
    brairu_add_peer(faiss faiss OpenMP::OpenMP_CXX)
endif()

set(simsimd ${BRAIRU_BENCH_PEERS}/simsimd)
if(EXISTS ${simsimd}/c/lib.c)
    add_library(peer_simsimd STATIC ${simsimd}/c/lib.c)
    target_include_directories(peer_simsimd SYSTEM PUBLIC ${simsimd}/include)
    target_compile_definitions(peer_simsimd PUBLIC SIMSIMD_DYNAMIC_DISPATCH=1
                                                   SIMSIMD_NATIVE_F16=0 SIMSIMD_NATIVE_BF16=0)
    target_compile_options(peer_simsimd PRIVATE -w -O3 -ffast-math)
    brairu_add_peer(simsimd peer_simsimd)
endif()

set(usearch ${BRAIRU_BENCH_PEERS}/usearch)
if(EXISTS ${usearch}/numkong/nk_probes.h)
    file(GLOB kernels ${usearch}/numkong/c/*.c)
    add_library(peer_usearch STATIC ${kernels})
    target_include_directories(peer_usearch SYSTEM PUBLIC ${usearch}/include
                                                          ${usearch}/numkong/include)
    target_compile_definitions(peer_usearch PUBLIC USEARCH_USE_NUMKONG=1 NK_DYNAMIC_DISPATCH=1
                                                   NK_NATIVE_F16=0 NK_NATIVE_BF16=0)
    # Of its kernels only those for signed bytes are used here: the others need not be fast.
    target_compile_options(peer_usearch PRIVATE -w -Wno-psabi -O1
                                                -include ${usearch}/numkong/nk_probes.h)
    set_source_files_properties(${usearch}/numkong/c/dispatch_i8.c PROPERTIES COMPILE_OPTIONS -O3)
    brairu_add_peer(usearch peer_usearch)
endif()
