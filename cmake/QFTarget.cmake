# The one place where a target gets its warnings, its sanitizers and its include root.
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
endfunction()
