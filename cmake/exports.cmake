# Gives a target the exports that the version script `map` lists, and no others.
function(polar_export target map)
    if(WIN32)
        # The linker knows no version scripts there, but lists of names.
        file(STRINGS "${map}" names REGEX "^ +[A-Za-z_0-9]+;")
        list(TRANSFORM names REPLACE "[ ;]" "")
        list(JOIN names "\n" names)
        set(definitions "${CMAKE_CURRENT_BINARY_DIR}/${target}.def")
        file(CONFIGURE OUTPUT "${definitions}" CONTENT "EXPORTS\n@names@\n" @ONLY)
        target_sources(${target} PRIVATE "${definitions}")
    else()
        target_link_options(${target} PRIVATE
            "LINKER:--version-script=${map}" LINKER:-z,defs,-z,relro,-z,now,-z,noexecstack)
    endif()
    set_target_properties(${target} PROPERTIES LINK_DEPENDS "${map}")
endfunction()
