# What is installed and where, in four components: library, platform (the stand-ins), development
# and tool. The version is that of project().
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(BRAIRU_LIBRARIES brairu)
if(BRAIRU_PLATFORM STREQUAL "host")
    list(APPEND BRAIRU_LIBRARIES brairu_npu brairu_log)
endif()
set_target_properties(${BRAIRU_LIBRARIES} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    # An installation that is moved as a whole keeps working; packages leave this out.
    INSTALL_RPATH "$ORIGIN")

install(TARGETS brairu
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development)
if(BRAIRU_PLATFORM STREQUAL "host")
    install(TARGETS brairu_npu brairu_log
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT platform NAMELINK_SKIP)
endif()

# What a program needs to be built against the library, and a board's stack to be built for it.
set(BRAIRU_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/brairu)
set(BRAIRU_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH BRAIRU_PKGCONFIG_TO_PREFIX /prefix/${BRAIRU_PKGCONFIG_DIR} /prefix)
string(REGEX REPLACE "/$" "" BRAIRU_PKGCONFIG_TO_PREFIX ${BRAIRU_PKGCONFIG_TO_PREFIX})
configure_package_config_file(
    ${CMAKE_CURRENT_LIST_DIR}/brairuConfig.cmake.in ${PROJECT_BINARY_DIR}/brairuConfig.cmake
    INSTALL_DESTINATION ${BRAIRU_CMAKE_DIR} PATH_VARS CMAKE_INSTALL_LIBDIR CMAKE_INSTALL_INCLUDEDIR)
# Before 1.0 a new minor version may change what a program is built against.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/brairuConfigVersion.cmake
    COMPATIBILITY SameMinorVersion)
configure_file(${CMAKE_CURRENT_LIST_DIR}/brairu.pc.in ${PROJECT_BINARY_DIR}/brairu.pc @ONLY)
install(FILES ${PROJECT_SOURCE_DIR}/include/brairu.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES ${PROJECT_SOURCE_DIR}/platform/npu/include/npu.h
              ${PROJECT_SOURCE_DIR}/platform/log/include/platformLog.h
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/brairu-platform COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/brairu.pc
    DESTINATION ${BRAIRU_PKGCONFIG_DIR} COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/brairuConfig.cmake ${PROJECT_BINARY_DIR}/brairuConfigVersion.cmake
    DESTINATION ${BRAIRU_CMAKE_DIR} COMPONENT development)

if(NOT TARGET brairu-tool)
    return()
endif()

set_target_properties(brairu-tool brairu-conformance PROPERTIES
    INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
install(TARGETS brairu-tool brairu-conformance
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)

option(BRAIRU_SYSTEM_FILES
    "Install networks, configuration and the store's folder where a system has them, whatever the prefix"
    OFF)
if(NOT BRAIRU_SYSTEM_FILES)
    return()
endif()

# What an engine starts from. The configuration names the places, so that these cannot be moved.
install(DIRECTORY ${PROJECT_SOURCE_DIR}/tools/conformance/answers/
    DESTINATION ${CMAKE_INSTALL_FULL_DATADIR}/brairu/answers COMPONENT tool)

set(models ${CMAKE_INSTALL_FULL_DATADIR}/brairu/models)
set(store ${CMAKE_INSTALL_FULL_LOCALSTATEDIR}/lib/brairu)
file(READ ${PROJECT_SOURCE_DIR}/config/brairu.json config)
string(REPLACE "\"models/" "\"${models}/" config "${config}")
string(REPLACE "\"data/" "\"${store}/" config "${config}")
file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/installed/brairu.json CONTENT "${config}" @ONLY)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY
    CMAKE_CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/config/brairu.json)

install(DIRECTORY ${PROJECT_SOURCE_DIR}/models/ DESTINATION ${models} COMPONENT tool
    FILES_MATCHING PATTERN "*.net" PATTERN "*.blobs")
install(FILES ${PROJECT_BINARY_DIR}/installed/brairu.json
    DESTINATION ${CMAKE_INSTALL_FULL_SYSCONFDIR}/brairu COMPONENT tool)
# Templates lie here in the clear: nobody else's business.
install(DIRECTORY DESTINATION ${store} COMPONENT tool
    DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
