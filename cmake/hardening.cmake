# Flags that make mistakes in memory harder to exploit: those of Debian's packages, and probes of the
# stack. For optimised builds of GCC and clang; the builds with sanitizers check more, and
# _FORTIFY_SOURCE needs an optimiser. -fcf-protection is not among them: the start files of Debian's C
# library lack its mark, so the linker drops it, and only its instructions would remain.
option(QUORVEL_HARDENING "Harden optimised builds of the programs" ON)
set(is_hardened OFF)
if(QUORVEL_HARDENING AND CMAKE_BUILD_TYPE STREQUAL "Release" AND NOT QUORVEL_SANITIZE
        AND NOT QUORVEL_FUZZ AND NOT QUORVEL_COVERAGE)
    set(is_hardened ON)
endif()

# Adds the flags to all targets of this folder and of those below. -fPIE instead of CMake's property
# for position-independent code, which compiles libraries for use in shared ones.
macro(quorvel_harden)
    if(is_hardened)
        # All functions are bound at the start, so calls need no table of jumps (-fno-plt).
        add_compile_options(-fPIE -fno-plt -fstack-protector-strong -fstack-clash-protection
            -Wformat -Werror=format-security)
        add_compile_definitions(_FORTIFY_SOURCE=2)
        add_link_options(-Wl,-z,relro -Wl,-z,now)
        if(NOT QUORVEL_STATIC)
            add_link_options(-pie)
        endif()
    endif()
endmacro()

# Protects only functions with arrays on the stack, in all targets of this folder and of those below. For
# layers that render rows of checked values: -fstack-protector-strong there makes a listing execute 3 %
# more instructions.
macro(quorvel_protect_arrays_only)
    if(is_hardened)
        add_compile_options(-fstack-protector)
    endif()
endmacro()

# quorvel_link_statically(<program>): links a program without shared libraries if QUORVEL_STATIC is set.
# It is position-independent as well, if its objects are.
function(quorvel_link_statically program)
    if(NOT QUORVEL_STATIC)
        return()
    endif()
    if(is_hardened)
        target_link_options(${program} PRIVATE -static-pie)
    else()
        target_link_options(${program} PRIVATE -static)
    endif()
endfunction()
