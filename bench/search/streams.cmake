# The streaming reads, each compiled for the CPUs that have loads so wide.
target_sources(brairu-bench PRIVATE search/streamRead16.cpp)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    target_sources(brairu-bench PRIVATE search/streamRead32.cpp search/streamRead64.cpp)
    set_source_files_properties(search/streamRead32.cpp PROPERTIES COMPILE_OPTIONS -mavx2)
    set_source_files_properties(search/streamRead64.cpp PROPERTIES COMPILE_OPTIONS -mavx512f)
endif()
