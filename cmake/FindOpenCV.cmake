# Finds the OpenCV modules that are asked for as imported targets OpenCV::<module>. Debian ships
# OpenCV's own package file only with all of its modules; this needs just those in use.

find_path(OpenCV_INCLUDE_DIR opencv2/core.hpp PATH_SUFFIXES opencv4)
set(OpenCV_required OpenCV_INCLUDE_DIR)

foreach(module IN LISTS OpenCV_FIND_COMPONENTS)
    find_library(OpenCV_${module}_LIBRARY opencv_${module})
    list(APPEND OpenCV_required OpenCV_${module}_LIBRARY)
    if(OpenCV_INCLUDE_DIR AND OpenCV_${module}_LIBRARY AND NOT TARGET OpenCV::${module})
        add_library(OpenCV::${module} UNKNOWN IMPORTED)
        set_target_properties(OpenCV::${module} PROPERTIES
            IMPORTED_LOCATION "${OpenCV_${module}_LIBRARY}"
            INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIR}")
    endif()
endforeach()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenCV REQUIRED_VARS ${OpenCV_required})
