# The library: one set of objects, from which the installed library (shared by default) and a
# static archive for the tests and the simulated agent are made.

set(platform_folder posix)

add_library(zwmgmt_objects OBJECT
    adapters/driver_requests.cpp
    adapters/install.cpp
    adapters/install_options.cpp
    adapters/inventory_replies.cpp
    adapters/inventory_requests.cpp
    adapters/port_listing.cpp
    adapters/property_requests.cpp
    adapters/property_tables.cpp
    adapters/status_replies.cpp
    cli/command_words.cpp
    cli/dispatcher.cpp
    cli/fields.cpp
    cli/help.cpp
    cli/printing.cpp
    cli/result_lists.cpp
    cli/routes.cpp
    cli/values.cpp
    cli/vocabulary.cpp
    filters/combinations.cpp
    filters/filter_replies.cpp
    filters/filter_requests.cpp
    filters/policy/classifier.cpp
    filters/policy/generate.cpp
    filters/policy/parser.cpp
    filters/policy/policy.cpp
    filters/policy/policy_replies.cpp
    filters/policy/policy_requests.cpp
    filters/policy/render.cpp
    filters/policy/simplify.cpp
    filters/policy/words.cpp
    filters/x3_rules.cpp
    filters/x4_rules.cpp
    net/net_replies.cpp
    net/net_requests.cpp
    platform/${platform_folder}/address.cpp
    platform/${platform_folder}/file.cpp
    platform/${platform_folder}/host.cpp
    platform/${platform_folder}/socket.cpp
    services/capabilities_reply.cpp
    session/capabilities.cpp
    session/compatibility.cpp
    session/file_transfer.cpp
    session/round_trip.cpp
    session/session.cpp
    session/status.cpp
    session/tls.cpp
    session/transfer.cpp)
target_include_directories(zwmgmt_objects PUBLIC include PRIVATE ${PROJECT_SOURCE_DIR})
target_compile_definitions(zwmgmt_objects PRIVATE ZWMGMT_BUILDING)
target_link_libraries(zwmgmt_objects PUBLIC OpenSSL::SSL)

add_library(zwmgmt $<TARGET_OBJECTS:zwmgmt_objects>)
add_library(zwmgmt::zwmgmt ALIAS zwmgmt)
target_link_libraries(zwmgmt PRIVATE OpenSSL::SSL)
target_include_directories(zwmgmt PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(zwmgmt PUBLIC cxx_std_20)
set_target_properties(zwmgmt PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION 0)
if(BUILD_SHARED_LIBS)
    # Hidden visibility does not cover templates of the standard library; the list does.
    target_link_options(zwmgmt PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/zwmgmt.map -Wl,--no-undefined)
    set_target_properties(zwmgmt PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/zwmgmt.map)
else()
    target_compile_definitions(zwmgmt PUBLIC ZWMGMT_STATIC)
endif()

# Everything of the library, internals included, for those who live in this tree.
add_library(zwmgmt_internal STATIC)
target_link_libraries(zwmgmt_internal PUBLIC zwmgmt_objects OpenSSL::SSL)
target_include_directories(zwmgmt_internal PUBLIC ${PROJECT_SOURCE_DIR})
