# Every public header compiles alone and silently, for the shared and for the static library, with
# each of the COMPILERS; one that compiles for an older C++ is told what is missing.
set(stubs ${BUILD_DIR}/headers_test)
file(REMOVE_RECURSE ${stubs})
file(GLOB_RECURSE headers RELATIVE ${SOURCE_DIR}/include ${SOURCE_DIR}/include/*.h)
foreach(header IN LISTS headers)
    file(WRITE ${stubs}/${header}.cpp "#include <${header}>\n")
endforeach()
list(TRANSFORM headers REPLACE "(.+)" "${stubs}/\\1.cpp" OUTPUT_VARIABLE sources)

separate_arguments(COMPILERS)
foreach(compiler IN LISTS COMPILERS)
    set(compile ${compiler} -I${SOURCE_DIR}/include -fsyntax-only -Wall -Wextra -pedantic -Werror)
    foreach(form -UZWMGMT_STATIC -DZWMGMT_STATIC)
        execute_process(COMMAND ${compile} -std=c++20 ${form} ${sources} COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    execute_process(COMMAND ${compile} -std=c++17 ${stubs}/zwmgmt/zwmgmt_interface.h.cpp
                    ERROR_VARIABLE errors)
    if(NOT errors MATCHES "zwmgmt needs C\\+\\+20")
        message(FATAL_ERROR "${compiler} for C++17: ${errors}")
    endif()
endforeach()
list(LENGTH sources count)
message(STATUS "${count} headers, ${COMPILERS}")
