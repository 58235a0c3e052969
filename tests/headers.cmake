# Fails unless every header that others include compiles alone in every language standard that they
# may use. COMPILER is the target's, ROOT the source folder.
function(compile header language standard)
    execute_process(
        COMMAND "${COMPILER}" -std=${standard} -Wall -Wextra -pedantic -Werror -fsyntax-only
            -x ${language} "-I${ROOT}" -include "${header}" /dev/null
        RESULT_VARIABLE result)
    if(result)
        message(SEND_ERROR "${header} does not compile alone as ${standard}")
    endif()
endfunction()

file(GLOB headers "${ROOT}/host/*.h" "${ROOT}/pixels/QzBitmap.h" "${ROOT}/pixels/QzTypes.h"
    "${ROOT}/library/polar.h")
list(LENGTH headers count)
if(count LESS 7)
    message(FATAL_ERROR "only ${count} headers in ${ROOT}")
endif()
foreach(header IN LISTS headers)
    foreach(standard c++11 c++14 c++17 c++20)
        compile("${header}" c++ ${standard})
    endforeach()
endforeach()
foreach(standard c99 c11 c17)
    compile("${ROOT}/library/polar.h" c ${standard})
endforeach()
