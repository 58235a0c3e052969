# Fails unless every header that a host's author includes compiles alone in every language standard.
# COMPILER is the target's, ROOT the source folder.
file(GLOB headers "${ROOT}/host/*.h" "${ROOT}/pixels/QzBitmap.h" "${ROOT}/pixels/QzTypes.h")
list(LENGTH headers count)
if(count LESS 6)
    message(FATAL_ERROR "only ${count} headers in ${ROOT}")
endif()
foreach(header IN LISTS headers)
    foreach(standard 11 14 17 20)
        execute_process(
            COMMAND "${COMPILER}" -std=c++${standard} -Wall -Wextra -pedantic -Werror -fsyntax-only
                -x c++ "-I${ROOT}" -include "${header}" /dev/null
            RESULT_VARIABLE result)
        if(result)
            message(SEND_ERROR "${header} does not compile alone as C++${standard}")
        endif()
    endforeach()
endforeach()
