# The shared library exports the public names and nothing else.
execute_process(COMMAND nm -D --defined-only -C ${LIBRARY} OUTPUT_VARIABLE symbols
                COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" symbols "${symbols}")
set(count 0)
foreach(symbol ${symbols})
    if(NOT symbol MATCHES "^[0-9a-f]+ [TVWDRB] ((vtable|typeinfo|typeinfo name) for )?(ZwMgmt_interface|Classifier|ParsePolicy|CLValidateAddress|zwmgmt::CommandWords::|zwmgmt::(StatusText|PrintHelp))")
        message(FATAL_ERROR "exported: ${symbol}")
    endif()
    math(EXPR count "${count} + 1")
endforeach()
if(count LESS 50)
    message(FATAL_ERROR "only ${count} names are exported")
endif()
