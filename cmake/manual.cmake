# The manual pages: written by hand, but for what programs, headers and documents say themselves.
add_executable(zwmgmt_describe_formats scripts/describe_formats.cpp)
target_link_libraries(zwmgmt_describe_formats PRIVATE zwmgmt_internal)

find_package(Python3 3.9 QUIET COMPONENTS Interpreter)
cmake_dependent_option(ZWMGMT_BUILD_MANUAL "Build the manual pages (Python)" ON
                       "NOT CMAKE_CROSSCOMPILING;Python3_Interpreter_FOUND" OFF)
if(NOT ZWMGMT_BUILD_MANUAL)
    return()
endif()

file(GLOB pages CONFIGURE_DEPENDS manual/*.[1-8])
file(GLOB_RECURSE sources CONFIGURE_DEPENDS include/zwmgmt/*.h docs/*.md)
set(programs korvane_zwcli korvane_zmsim zwmgmt_describe_formats)
if(TARGET korvane_zmagent)
    list(APPEND programs korvane_zmagent)
else()
    list(FILTER pages EXCLUDE REGEX zmagent)
endif()

set(manual ${PROJECT_BINARY_DIR}/share/man)
set(written)
foreach(page ${pages})
    string(REGEX REPLACE ".*/(.*)\\.(.)" "man\\2/\\1.\\2" path ${page})
    list(APPEND written ${manual}/${path})
    set(component programs)
    if(page MATCHES "zmagent")
        set(component agent)
    elseif(page MATCHES "[.]3$")
        set(component development)
    endif()
    get_filename_component(folder ${path} DIRECTORY)
    install(FILES ${manual}/${path} DESTINATION ${CMAKE_INSTALL_MANDIR}/${folder}
            COMPONENT ${component})
endforeach()
add_custom_command(OUTPUT ${written}
    COMMAND ${Python3_EXECUTABLE} ${PROJECT_SOURCE_DIR}/manual/generate.py
            ${CMAKE_RUNTIME_OUTPUT_DIRECTORY} ${PROJECT_SOURCE_DIR} ${manual} ${PROJECT_VERSION}
            ${pages}
    DEPENDS ${programs} ${pages} ${sources} ${PROJECT_SOURCE_DIR}/manual/generate.py
            ${PROJECT_SOURCE_DIR}/README.md ${PROJECT_SOURCE_DIR}/examples/web.policy
    VERBATIM)
add_custom_target(manual ALL DEPENDS ${written})
