# The script for packet analysers: what travels, as the library describes it, above what shows it.
add_executable(zwmgmt_describe_messages scripts/describe_messages.cpp)
target_link_libraries(zwmgmt_describe_messages PRIVATE zwmgmt_internal)
set(dissector ${PROJECT_BINARY_DIR}/share/korvane.lua)
set(dissector_tables ${PROJECT_BINARY_DIR}/dissector_tables.lua)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/share)
add_custom_command(OUTPUT ${dissector}
    COMMAND zwmgmt_describe_messages > ${dissector_tables}
    COMMAND ${CMAKE_COMMAND} -E cat ${dissector_tables} ${PROJECT_SOURCE_DIR}/contrib/dissector.lua
            > ${dissector}
    DEPENDS zwmgmt_describe_messages ${PROJECT_SOURCE_DIR}/contrib/dissector.lua
    VERBATIM)
add_custom_target(dissector ALL DEPENDS ${dissector})
install(FILES ${dissector} DESTINATION ${CMAKE_INSTALL_DATADIR}/zwmgmt COMPONENT programs)
