# The installed library (shared by default), and the same in a static archive for the programs and
# the tests.

if(WIN32)
    set(platform_folder windows)
    set(platform_libraries ws2_32 iphlpapi advapi32 shell32)
    enable_language(RC)
    set(program_resources ${PROJECT_SOURCE_DIR}/platform/windows/program.rc)
else()
    set(platform_folder posix)
    set(platform_libraries)
    set(program_resources)
endif()

set(library_sources
    adapters/driver_requests.cpp
    adapters/install.cpp
    adapters/install_options.cpp
    adapters/inventory_replies.cpp
    adapters/inventory_requests.cpp
    adapters/port_listing.cpp
    adapters/property_requests.cpp
    adapters/property_tables.cpp
    adapters/status_replies.cpp
    api/result.cpp
    api/routes.cpp
    commands/argument_notes.cpp
    commands/arguments.cpp
    commands/command_keys.cpp
    commands/command_words.cpp
    commands/dispatcher.cpp
    commands/help.cpp
    commands/offer.cpp
    commands/printing.cpp
    commands/push.cpp
    commands/result_lists.cpp
    commands/values.cpp
    commands/vocabulary.cpp
    filters/combinations.cpp
    filters/filter_replies.cpp
    filters/filter_requests.cpp
    filters/filter_results.cpp
    filters/x3_rules.cpp
    filters/x4_rules.cpp
    output/json.cpp
    output/layout.cpp
    output/message_fields.cpp
    output/records.cpp
    output/render.cpp
    output/value.cpp
    platform/${platform_folder}/address.cpp
    platform/${platform_folder}/file.cpp
    platform/${platform_folder}/host.cpp
    platform/${platform_folder}/socket.cpp
    platform/${platform_folder}/thread_end.cpp
    platform/address.cpp
    platform/socket.cpp
    policies/classifier.cpp
    policies/compare.cpp
    policies/compiled_rules.cpp
    policies/connection.cpp
    policies/format.cpp
    policies/generate.cpp
    policies/numbers.cpp
    policies/parser.cpp
    policies/policy.cpp
    policies/policy_replies.cpp
    policies/policy_requests.cpp
    policies/policy_results.cpp
    policies/policy_text.cpp
    policies/reach.cpp
    policies/render.cpp
    policies/rules.cpp
    policies/search.cpp
    policies/simplify.cpp
    policies/words.cpp
    records/messages.cpp
    session/compatibility.cpp
    session/connection.cpp
    session/exchange.cpp
    session/file_push.cpp
    session/login.cpp
    session/peer.cpp
    session/race.cpp
    session/session.cpp
    session/status.cpp
    session/tls.cpp
    session/tls_context.cpp
    session/trust_store.cpp
    session/version.cpp
    system/capabilities_reply.cpp
    system/net_replies.cpp
    system/net_requests.cpp
    system/net_results.cpp)

function(add_library_objects name export_definition)
    add_library(${name} OBJECT ${library_sources})
    target_include_directories(${name} PUBLIC include PRIVATE ${PROJECT_SOURCE_DIR})
    target_compile_definitions(${name} PRIVATE ${export_definition})
    target_link_libraries(${name} PUBLIC OpenSSL::SSL ${platform_libraries})
endfunction()

set(internal_objects zwmgmt_objects)
if(NOT BUILD_SHARED_LIBS)
    add_library_objects(zwmgmt_objects ZWMGMT_STATIC)
else()
    add_library_objects(zwmgmt_objects ZWMGMT_BUILDING)
    if(WIN32)
        # There the objects say what is exported, and a program must not export what it carries.
        add_library_objects(zwmgmt_internal_objects ZWMGMT_STATIC)
        set(internal_objects zwmgmt_internal_objects)
    endif()
endif()

add_library(zwmgmt $<TARGET_OBJECTS:zwmgmt_objects>)
add_library(zwmgmt::zwmgmt ALIAS zwmgmt)
target_link_libraries(zwmgmt PRIVATE OpenSSL::SSL ${platform_libraries})
target_include_directories(zwmgmt PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
target_compile_features(zwmgmt PUBLIC cxx_std_20)
set_target_properties(zwmgmt PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
if(NOT BUILD_SHARED_LIBS)
    target_compile_definitions(zwmgmt PUBLIC ZWMGMT_STATIC)
elseif(WIN32)
    set_target_properties(zwmgmt PROPERTIES PREFIX "")  # zwmgmt.dll
else()
    # Hidden visibility does not cover templates of the standard library; the list does.
    target_link_options(zwmgmt PRIVATE
        -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/zwmgmt.map -Wl,--no-undefined)
    set_target_properties(zwmgmt PROPERTIES LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/zwmgmt.map)
endif()

# Everything of the library, internals included, for those who live in this tree.
add_library(zwmgmt_internal STATIC)
target_link_libraries(zwmgmt_internal PUBLIC ${internal_objects})
target_include_directories(zwmgmt_internal PUBLIC ${PROJECT_SOURCE_DIR})
target_compile_definitions(zwmgmt_internal INTERFACE ZWMGMT_STATIC)
