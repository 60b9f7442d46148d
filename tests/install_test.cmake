# Installs the tree into a fresh folder and builds the consumer example from it, once with the CMake
# package and once with pkg-config; runs it against the installed simulated agent. Then the same with
# the static library, built alone: without the programs and what only they need.
#
# For Windows (with a TOOLCHAIN) the example is told the compiler alone, but where it links OpenSSL
# itself; it runs in the EMULATOR.
set(root ${BUILD_DIR}/install_test)
file(REMOVE_RECURSE ${root})
set(example ${SOURCE_DIR}/examples/consumer)
set(shared_options)
set(static_options)
set(suffix)
if(TOOLCHAIN)
    set(shared_options -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=${CXX})
    set(static_options -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN}
                       -DCMAKE_FIND_ROOT_PATH=${root}/static_prefix)
    set(suffix .exe)
    # Where a program finds the DLL, and its compiler's.
    set(ENV{WINEPATH} "Z:${root}/prefix/bin")
    foreach(runtime libstdc++-6.dll libwinpthread-1.dll)
        execute_process(COMMAND ${CXX} -print-file-name=${runtime} OUTPUT_VARIABLE file
                        COMMAND_ERROR_IS_FATAL ANY)
        get_filename_component(folder ${file} DIRECTORY)
        set(ENV{WINEPATH} "$ENV{WINEPATH};Z:${folder}")
    endforeach()
endif()

set(adapters "0000:03:00.0  eth2  2 ports\r?\n.*0000:82:00.4  eth8  2 ports\r?\n")

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

function(run_consumer expected_output consumer)
    run(${expected_output} ${CMAKE_CURRENT_LIST_DIR}/run_consumer.sh ${root}/prefix/bin
        ${consumer} ${EMULATOR})
endfunction()

function(build_consumers name prefix)
    set(build ${root}/${name})
    run("" ${CMAKE_COMMAND} -S ${example} -B ${build} -G Ninja -DCMAKE_PREFIX_PATH=${prefix}
        ${${name}_options})
    run("" ${CMAKE_COMMAND} --build ${build})
    run_consumer("${adapters}" ${build}/consumer${suffix})
    run_consumer("0: mss = 16384 bytes\r?\n.*port_count\r?\n0000:03:00.0,2\r?\n"
                 ${build}/fields${suffix})

    file(GLOB_RECURSE pkg_config_file ${prefix}/*/zwmgmt.pc)
    get_filename_component(pkg_config_folder ${pkg_config_file} DIRECTORY)
    get_filename_component(library_folder ${pkg_config_folder} DIRECTORY)
    set(ENV{PKG_CONFIG_PATH} ${pkg_config_folder})
    unset(ENV{PKG_CONFIG_LIBDIR})
    set(form)
    if(TOOLCHAIN)
        set(ENV{PKG_CONFIG_LIBDIR} ${TARGET_LIBRARIES}/lib/pkgconfig)
        set(form --${name})
    endif()
    if(name STREQUAL shared)
        set(ENV{PKG_CONFIG_LIBDIR} ${pkg_config_folder})  # of no other library
        run("^-I[^ ]+/include[ \n]*$" pkg-config --cflags zwmgmt)
    endif()
    run("" sh -c "${CXX} -std=c++20 ${example}/consumer.cpp -o ${build}/consumer_pc${suffix} \
$(pkg-config ${form} --cflags --libs zwmgmt) -Wl,-rpath,${library_folder}")
    run_consumer("${adapters}" ${build}/consumer_pc${suffix})
endfunction()

# What somebody has installed from this build can be uninstalled afterwards, as before.
function(move_manifests from to)
    file(MAKE_DIRECTORY ${to})
    file(GLOB manifests ${from}/install_manifest*.txt)
    foreach(manifest ${manifests})
        file(COPY ${manifest} DESTINATION ${to})
        file(REMOVE ${manifest})
    endforeach()
endfunction()
set(kept ${BUILD_DIR}/kept_manifests)
move_manifests(${kept} ${BUILD_DIR})  # of a test that was broken off
move_manifests(${BUILD_DIR} ${kept})
run("" ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${root}/prefix)
build_consumers(shared ${root}/prefix)
run("korvane_zwcli ${VERSION}" ${EMULATOR} ${root}/prefix/bin/korvane_zwcli${suffix} --version)
set(installed share/bash-completion/completions/korvane_zwcli
              share/zsh/site-functions/_korvane_zwcli)
if(TOOLCHAIN)
    set(installed bin/korvane_zwcli.ps1)
endif()
foreach(file ${installed})
    if(NOT EXISTS ${root}/prefix/${file})
        message(FATAL_ERROR "${file} is not installed")
    endif()
endforeach()

run("" ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${root}/static_build -G Ninja -DBUILD_SHARED_LIBS=OFF
    -DZWMGMT_PROGRAMS=OFF -DCMAKE_DISABLE_FIND_PACKAGE_CLI11=ON
    -DCMAKE_DISABLE_FIND_PACKAGE_nlohmann_json=ON ${static_options})
run("" ${CMAKE_COMMAND} --build ${root}/static_build)
run("" ${CMAKE_COMMAND} --install ${root}/static_build --prefix ${root}/static_prefix)
build_consumers(static ${root}/static_prefix)

file(WRITE ${root}/prefix/include/zwmgmt/mine.h "")
run("" ${CMAKE_COMMAND} -P ${BUILD_DIR}/uninstall.cmake)
file(GLOB_RECURSE left LIST_DIRECTORIES true RELATIVE ${root}/prefix ${root}/prefix/*)
list(FILTER left INCLUDE REGEX "zwmgmt|korvane")
if(NOT left STREQUAL "include/zwmgmt;include/zwmgmt/mine.h")
    message(FATAL_ERROR "uninstalling left: ${left}")
endif()
move_manifests(${kept} ${BUILD_DIR})
