# qf_public_headers(PART...): the headers of static libraries as other programs include them, below
# "qf/". Their copies in the build tree's directory "include", whose own includes say so too, are
# the property QF_PUBLIC_HEADERS of each part; the target PART_headers makes them.
find_program(SED sed REQUIRED)
set(QF_INCLUDE_DIRECTORY ${PROJECT_BINARY_DIR}/include)

function(qf_public_headers)
    foreach(part IN LISTS ARGN)
        get_target_property(headers ${part} HEADER_SET)
        set(copies)
        foreach(header IN LISTS headers)
            file(RELATIVE_PATH name ${PROJECT_SOURCE_DIR} ${header})
            set(copy ${QF_INCLUDE_DIRECTORY}/qf/${name})
            add_custom_command(OUTPUT ${copy}
                COMMAND ${SED} -E "s,^(#include \")(platform|util)/,\\1qf/\\2/," ${header} > ${copy}
                DEPENDS ${header} VERBATIM)
            cmake_path(GET copy PARENT_PATH folder)
            file(MAKE_DIRECTORY ${folder})
            list(APPEND copies ${copy})
        endforeach()
        add_custom_target(${part}_headers DEPENDS ${copies})
        set_target_properties(${part} PROPERTIES QF_PUBLIC_HEADERS "${copies}")
    endforeach()
endfunction()
