# The front end, the side that answers, and the simulated agent.
find_package(Threads REQUIRED)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json 3.9 REQUIRED)

add_library(zwmgmt_platform_programs OBJECT
    platform/${platform_folder}/stop_signal.cpp
    platform/${platform_folder}/terminal.cpp
    platform/${platform_folder}/wipe.cpp)
target_include_directories(zwmgmt_platform_programs PUBLIC ${PROJECT_SOURCE_DIR})

add_executable(korvane_zwcli
    front_end/agent_session.cpp
    front_end/agents.cpp
    front_end/answer.cpp
    front_end/batch.cpp
    front_end/command_run.cpp
    front_end/complete_line.cpp
    front_end/completion.cpp
    front_end/completion_hosts.cpp
    front_end/consolidate.cpp
    front_end/difference.cpp
    front_end/dry_run.cpp
    front_end/exit_status.cpp
    front_end/fan_out.cpp
    front_end/help.cpp
    front_end/host_fold.cpp
    front_end/host_set.cpp
    front_end/host_writer.cpp
    front_end/hosts.cpp
    front_end/known_agents.cpp
    front_end/main.cpp
    front_end/options.cpp
    front_end/own_commands.cpp
    front_end/password.cpp
    front_end/policy.cpp
    front_end/policy_check.cpp
    front_end/policy_compare.cpp
    front_end/progress.cpp
    front_end/rate.cpp
    front_end/report.cpp
    front_end/run.cpp
    front_end/say.cpp
    front_end/settings.cpp
    front_end/shell.cpp
    front_end/shell_history.cpp
    front_end/shell_words.cpp
    front_end/target.cpp
    front_end/teller.cpp
    front_end/trace.cpp
    front_end/trust.cpp
    front_end/watch.cpp
    platform/${platform_folder}/line_editor.cpp
    ${program_resources})
target_link_libraries(korvane_zwcli PRIVATE zwmgmt_internal zwmgmt_platform_programs CLI11::CLI11)
if(NOT WIN32)
    # Archives, as loading the four libraries would take every command a fifth more time.
    foreach(name edit tinfo bsd md)
        find_library(ZWMGMT_${name}_ARCHIVE NAMES lib${name}.a ${name} REQUIRED)
        target_link_libraries(korvane_zwcli PRIVATE ${ZWMGMT_${name}_ARCHIVE})
    endforeach()
endif()
if(NOT ZWMGMT_SANITIZE)
    # A command takes milliseconds, and a good part of them would go into loading and relocating
    # shared libraries: the front end carries zwmgmt and the C++ runtime in itself.
    target_link_options(korvane_zwcli PRIVATE -static-libstdc++ -static-libgcc)
endif()

# The trust store lies beside the executable that loads the library.
configure_file(front_end/certs/cert.pem ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/certs/cert.pem COPYONLY)

# The built-in scenarios are the JSON files, compiled in.
set(scenario_names windows linux solaris freebsd esx xen mac)
set(SCENARIO_ROWS "")
foreach(name ${scenario_names})
    set(file ${PROJECT_SOURCE_DIR}/simulator/scenarios/${name}.json)
    file(READ ${file} text)
    string(APPEND SCENARIO_ROWS "    {\"${name}\", R\"json(${text})json\"},\n")
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${file})
endforeach()
configure_file(simulator/builtin_scenarios.cpp.in ${PROJECT_BINARY_DIR}/builtin_scenarios.cpp @ONLY)

add_library(zwmgmt_agent STATIC
    agent/certificate.cpp
    agent/client_session.cpp
    agent/file_receiver.cpp
    agent/filter_rules.cpp
    agent/filter_service.cpp
    agent/judge.cpp
    agent/listeners.cpp
    agent/local_file.cpp
    agent/messages.cpp
    agent/property_requests.cpp
    agent/requests.cpp
    agent/server.cpp
    agent/wire.cpp)
target_link_libraries(zwmgmt_agent PUBLIC zwmgmt_internal Threads::Threads)

add_library(zmsim STATIC
    ${PROJECT_BINARY_DIR}/builtin_scenarios.cpp
    simulator/faulty_wire.cpp
    simulator/filter_table.cpp
    simulator/policy_table.cpp
    simulator/probes.cpp
    simulator/property_changes.cpp
    simulator/recording.cpp
    simulator/refusing_host.cpp
    simulator/relay.cpp
    simulator/replay.cpp
    simulator/scenario.cpp
    simulator/scenario_host.cpp)
target_sources(zmsim PRIVATE front_end/known_agents.cpp front_end/target.cpp front_end/trust.cpp)
target_link_libraries(zmsim PUBLIC zwmgmt_agent nlohmann_json::nlohmann_json)

add_executable(korvane_zmsim simulator/main.cpp ${program_resources})
target_link_libraries(korvane_zmsim PRIVATE zmsim zwmgmt_platform_programs CLI11::CLI11)
