# The shared library exports the public names and nothing else; the DLL exports the same as the
# library of Linux. OBJDUMP reads a DLL, nm the other; LINUX_LIBRARY is what a DLL is compared with.
function(read_exports library names)
    if(library MATCHES "\\.dll$")
        execute_process(COMMAND ${OBJDUMP} -p ${library} COMMAND c++filt OUTPUT_VARIABLE text
                        COMMAND_ERROR_IS_FATAL ANY)
        set(line_of_name "\n\t\\[ *[0-9]+\\] +([^+\n][^\n]*)")
    else()
        execute_process(COMMAND nm -D --defined-only -C ${library} OUTPUT_VARIABLE text
                        COMMAND_ERROR_IS_FATAL ANY)
        set(line_of_name "\n[0-9a-f]+ [A-Z] ([^\n]*)")
    endif()
    string(REGEX MATCHALL "${line_of_name}" lines "\n${text}")
    set(found)
    foreach(line IN LISTS lines)
        string(REGEX REPLACE "${line_of_name}" "\\1" name "${line}")
        # The same types go by other names there.
        string(REPLACE "long long" "long" name "${name}")
        string(REPLACE "_IO_FILE" "_iobuf" name "${name}")
        list(APPEND found "${name}")
    endforeach()
    list(REMOVE_DUPLICATES found)  # of constructors and destructors, which have several entries
    list(SORT found)
    set(${names} "${found}" PARENT_SCOPE)
endfunction()

read_exports(${LIBRARY} exported)
set(member "(ZwMgmt_interface|Classifier|ParsePolicy|zwmgmt::(CommandWords|ArgumentNotes|Result))::~?[A-Za-z0-9_]+")
foreach(name IN LISTS exported)
    if(NOT name MATCHES "^(vtable|typeinfo) for ZwMgmt_interface$" AND
       NOT name MATCHES "^${member}[[(]" AND
       NOT name MATCHES "^(CLValidateAddress|zwmgmt::(StatusText|PrintHelp|Version))[(]")
        message(FATAL_ERROR "exported: ${name}")
    endif()
endforeach()
list(LENGTH exported count)
if(count LESS 150)
    message(FATAL_ERROR "only ${count} names are exported")
endif()

if(DEFINED LINUX_LIBRARY)
    read_exports(${LINUX_LIBRARY} expected)
    set(missing ${expected})
    list(REMOVE_ITEM missing ${exported})
    list(REMOVE_ITEM exported ${expected})
    if(missing OR exported)
        message(FATAL_ERROR "not in the DLL: ${missing}\nin the DLL alone: ${exported}")
    endif()
endif()
