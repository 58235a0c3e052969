# Fails where code for wider instruction sets can be reached without asking the processor: such
# instructions belong into the units of the batches alone, and there not into functions that the
# linker may take for those of other units, where narrow ones of the same encoding count as well.
# OBJECTS are the engine's, OBJDUMP is the target's.
set(search "/^Disassembly/ { shared = !batches || $4 ~ /^\\.text\\._Z/ }
    /%[yz]mm/ { wide = 1 }
    shared && (/%[yz]mm/ || (batches && /\\tv[a-z]/)) { print }
    END { if (batches && !wide) print \"no wide code\" }")
foreach(object IN LISTS OBJECTS)
    string(REGEX MATCH "batch_avx" batches "${object}")
    execute_process(
        COMMAND "${OBJDUMP}" -d "${object}"
        COMMAND awk -v "batches=${batches}" "${search}"
        OUTPUT_VARIABLE found COMMAND_ERROR_IS_FATAL ANY)
    if(found)
        message(FATAL_ERROR "${object}: ${found}")
    endif()
endforeach()
