# The one place where a target gets its warnings, its sanitizers, its counters and its include root.
function(qf_target target)
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}>)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wold-style-cast
        -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wimplicit-fallthrough
        -Wno-missing-field-initializers
        # Compiled together, a declaration in one source shadows one in another.
        $<$<NOT:$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wshadow>
        $<$<BOOL:${QF_WARNINGS_ARE_ERRORS}>:-Werror>)
    # A program does not load the libraries that only other users of its archives need.
    target_link_options(${target} PRIVATE -Wl,--as-needed)
    if(QF_SANITIZE)
        target_compile_options(${target} PUBLIC
            -fsanitize=${QF_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${QF_SANITIZE})
    endif()
    if(QF_COVERAGE)
        # One file for all runs of a program, wherever its environment went, counted by all threads as
        # it runs: what is killed counts too. Functions of unnamed namespaces are told apart by the
        # name of their source, which is the same in all targets that are compiled together.
        target_compile_options(${target} PRIVATE
            "-fprofile-instr-generate=${PROJECT_BINARY_DIR}/profiles/%m%c.profraw" -fcoverage-mapping
            -fprofile-update=atomic "SHELL:-mllvm -runtime-counter-relocation"
            "SHELL:-Xclang -main-file-name -Xclang ${target}")
        target_link_options(${target} PUBLIC -fprofile-instr-generate)
    endif()
endfunction()
