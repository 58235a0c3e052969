# Fails unless the file MODULE is what a host can load without worry. EXPORTS are its functions, NM and
# READELF the target's tools, SANITIZED says whether the module has a sanitizer's own code in it.
function(inspect result)
    execute_process(COMMAND ${ARGN} "${MODULE}" OUTPUT_VARIABLE output COMMAND_ERROR_IS_FATAL ANY)
    set(${result} "${output}" PARENT_SCOPE)
endfunction()

# It exports what hosts use and nothing else.
inspect(exports "${NM}" -D --defined-only --format=posix)
string(REGEX MATCHALL "(^|\n)[^ \n]+" found "${exports}")
list(TRANSFORM found STRIP)
list(SORT found)
if(NOT found STREQUAL EXPORTS)
    message(SEND_ERROR "${MODULE} exports '${found}', not '${EXPORTS}'")
endif()

# Code and tables are read-only once it is loaded, and the stack is not executable.
inspect(dynamic "${READELF}" -dW)
inspect(segments "${READELF}" -lW)
if(dynamic MATCHES "TEXTREL" OR NOT dynamic MATCHES "BIND_NOW" OR NOT segments MATCHES "GNU_RELRO"
        OR NOT segments MATCHES "GNU_STACK[^\n]*RW " OR segments MATCHES "GNU_STACK[^\n]*RWE")
    message(SEND_ERROR "${MODULE} is not hardened:\n${dynamic}${segments}")
endif()

# Nothing of ours runs when it is loaded or unloaded: one initializer is the compiler's.
inspect(imports "${NM}" -D --undefined-only)
if(NOT SANITIZED AND (imports MATCHES "__cxa_(guard|atexit)"
        OR NOT dynamic MATCHES "INIT_ARRAYSZ\\) +[48] \\(bytes\\)"
        OR NOT dynamic MATCHES "FINI_ARRAYSZ\\) +[48] \\(bytes\\)"))
    message(SEND_ERROR "${MODULE} runs code when it is loaded or unloaded:\n${imports}${dynamic}")
endif()
