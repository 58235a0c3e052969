# polar_flags: what every target of ours is compiled with.
add_library(polar_flags INTERFACE)
target_include_directories(polar_flags INTERFACE "${PROJECT_SOURCE_DIR}")
target_compile_options(polar_flags INTERFACE
    -Wall -Wextra -Wshadow -Wconversion
    -ffp-contract=off  # products and sums round separately, on every processor
    -fno-math-errno)   # nobody reads errno; without it sqrt is one instruction
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^i.86$")
    target_compile_options(polar_flags INTERFACE -msse2 -mfpmath=sse)
endif()
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(aarch64|arm64)$")
    # Else the compiler's own library runs code of its own whenever a library is loaded.
    target_compile_options(polar_flags INTERFACE -mno-outline-atomics)
endif()
if(WIN32)
    # Stacks of threads are aligned to 16 bytes there; GCC does not know it of wider registers.
    target_compile_options(polar_flags INTERFACE -Wa,-muse-unaligned-vector-move)
    # Nothing beside the system is needed, and the same sources give the same bytes.
    target_link_options(polar_flags INTERFACE -static LINKER:--no-insert-timestamp)
endif()
if(POLAR_SANITIZE)
    target_compile_options(polar_flags INTERFACE
        "-fsanitize=${POLAR_SANITIZE}" -fno-sanitize-recover=all -fno-omit-frame-pointer
        # Instrumented, GCC 12 takes std::regex for a mistake; clang has no such warning.
        $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(polar_flags INTERFACE "-fsanitize=${POLAR_SANITIZE}")
endif()
