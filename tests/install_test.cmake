# Installs the tree into a fresh folder and builds the consumer example from it, once with the CMake
# package and once with pkg-config; runs it and the installed front end. Then the static library.
set(root ${BUILD_DIR}/install_test)
file(REMOVE_RECURSE ${root})
set(example ${SOURCE_DIR}/examples/consumer)

function(run expected_output)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE output
                    ERROR_VARIABLE output ECHO_ERROR_VARIABLE)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "${ARGN}: ${result}\n${output}")
    endif()
    if(NOT output MATCHES "${expected_output}")
        message(FATAL_ERROR "${ARGN} printed:\n${output}")
    endif()
endfunction()

function(build_consumers name prefix)
    set(build ${root}/${name})
    run("" ${CMAKE_COMMAND} -S ${example} -B ${build} -G Ninja -DCMAKE_PREFIX_PATH=${prefix})
    run("" ${CMAKE_COMMAND} --build ${build})
    run("korvane listadapterprops is service 4, command 142" ${build}/consumer)

    file(GLOB_RECURSE pkg_config_file ${prefix}/*/zwmgmt.pc)
    get_filename_component(pkg_config_folder ${pkg_config_file} DIRECTORY)
    get_filename_component(library_folder ${pkg_config_folder} DIRECTORY)
    set(ENV{PKG_CONFIG_PATH} ${pkg_config_folder})
    run("" sh -c "c++ -std=c++20 ${example}/consumer.cpp -o ${build}/consumer_pc \
$(pkg-config --cflags --libs zwmgmt) -Wl,-rpath,${library_folder}")
    run("service 4, command 142" ${build}/consumer_pc)
endfunction()

run("" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${root}/prefix)
build_consumers(shared ${root}/prefix)
run("korvane_zwcli ${VERSION}" ${root}/prefix/bin/korvane_zwcli --version)
if(NOT EXISTS ${root}/prefix/bin/certs/cert.pem)
    message(FATAL_ERROR "the trust store is not installed")
endif()

run("" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${root}/static_build -G Ninja -DBUILD_SHARED_LIBS=OFF
    -DZWMGMT_BUILD_TESTS=OFF)
run("" ${CMAKE_COMMAND} --build ${root}/static_build --target zwmgmt)
run("" ${CMAKE_COMMAND} --install ${root}/static_build --prefix ${root}/static_prefix
    --component library)
build_consumers(static ${root}/static_prefix)
