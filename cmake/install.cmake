# Components: `runtime` is the shared library, `development` what programs that link it are built
# with, `programs` the front end and the simulated agent, `agent` that of Linux hosts.
include(CMakePackageConfigHelpers)

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)
install(TARGETS zwmgmt EXPORT zwmgmt_targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime)
install(DIRECTORY include/zwmgmt DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(EXPORT zwmgmt_targets NAMESPACE zwmgmt::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zwmgmt)

configure_package_config_file(cmake/zwmgmt-config.cmake.in
    ${PROJECT_BINARY_DIR}/zwmgmt-config.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zwmgmt)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zwmgmt-config-version.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/zwmgmt-config.cmake
              ${PROJECT_BINARY_DIR}/zwmgmt-config-version.cmake
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/zwmgmt)

# What a program asks for that links the shared library: nothing else.
set(ZWMGMT_PC_REQUIRES "")
set(ZWMGMT_PC_CFLAGS "")
list(TRANSFORM platform_libraries PREPEND "-l" OUTPUT_VARIABLE ZWMGMT_PC_PLATFORM)
list(JOIN ZWMGMT_PC_PLATFORM " " ZWMGMT_PC_PLATFORM)
if(NOT BUILD_SHARED_LIBS)
    set(ZWMGMT_PC_REQUIRES "libssl libcrypto")
    set(ZWMGMT_PC_CFLAGS " -DZWMGMT_STATIC")
endif()
foreach(folder LIBDIR INCLUDEDIR)
    set(ZWMGMT_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
    if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
        set(ZWMGMT_PC_${folder} "${CMAKE_INSTALL_${folder}}")
    endif()
endforeach()
file(RELATIVE_PATH ZWMGMT_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
configure_file(cmake/zwmgmt.pc.in ${PROJECT_BINARY_DIR}/zwmgmt.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/zwmgmt.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(ZWMGMT_PROGRAMS)
    set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)
    install(TARGETS korvane_zwcli korvane_zmsim RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
    if(WIN32)
        install(FILES contrib/completion/korvane_zwcli.ps1 DESTINATION ${CMAKE_INSTALL_BINDIR})
    else()
        install(FILES contrib/completion/korvane_zwcli.bash RENAME korvane_zwcli
            DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
        install(FILES contrib/completion/_korvane_zwcli
            DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
    endif()
endif()

configure_file(cmake/uninstall.cmake.in ${PROJECT_BINARY_DIR}/uninstall.cmake @ONLY)
if(PROJECT_IS_TOP_LEVEL)
    add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -P ${PROJECT_BINARY_DIR}/uninstall.cmake)
endif()
