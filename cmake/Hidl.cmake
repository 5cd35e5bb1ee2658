# hidl_sources(<variable> <root package>)
#
# Has the HIDL compiler generate the C++ code of all packages under a root into <build>/hidl, and
# sets the variable to the generated sources. The generated headers exist once the target
# hidl_generated is built.
#
# hidl_roots.txt has the roots, as PACKAGE:FOLDER. The folders below one give its packages.
find_program(HIDL_GEN hidl-gen REQUIRED)

set(HIDL_OUTPUT ${CMAKE_BINARY_DIR}/hidl)
set(HIDL_OPTIONS -R -p ${CMAKE_SOURCE_DIR} -o ${HIDL_OUTPUT})
set(HIDL_INPUTS)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS
             ${CMAKE_CURRENT_LIST_DIR}/hidl_roots.txt)
file(STRINGS ${CMAKE_CURRENT_LIST_DIR}/hidl_roots.txt HIDL_ROOTS)
foreach(root ${HIDL_ROOTS})
    string(REGEX MATCH "^(.*):(.*)$" root ${root})
    set(HIDL_FOLDER_${CMAKE_MATCH_1} ${CMAKE_SOURCE_DIR}/${CMAKE_MATCH_2})
    list(APPEND HIDL_OPTIONS -r ${root})
    file(GLOB_RECURSE inputs CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${CMAKE_MATCH_2}/*.hal
                                               ${CMAKE_SOURCE_DIR}/${CMAKE_MATCH_2}/current.txt)
    list(APPEND HIDL_INPUTS ${inputs})
endforeach()

if(NOT TARGET hidl_generated)
    add_custom_target(hidl_generated)
endif()

function(hidl_sources variable root)
    string(REPLACE "." "/" prefix ${root})
    file(GLOB_RECURSE definitions RELATIVE ${HIDL_FOLDER_${root}} ${HIDL_FOLDER_${root}}/*.hal)
    list(TRANSFORM definitions PREPEND ${prefix}/)
    list(TRANSFORM definitions REPLACE "/[^/]*$" "" OUTPUT_VARIABLE folders)
    list(REMOVE_DUPLICATES folders)

    set(sources)
    foreach(folder ${folders})
        set(generated ${definitions})
        list(FILTER generated INCLUDE REGEX "^${folder}/")
        list(TRANSFORM generated REPLACE "/I([^/]*)[.]hal$" "/\\1All.cpp")
        list(TRANSFORM generated REPLACE "[.]hal$" ".cpp")
        list(TRANSFORM generated PREPEND ${HIDL_OUTPUT}/)

        string(REGEX REPLACE "/([^/]*)$" "@\\1" package ${folder})
        string(REPLACE "/" "." package ${package})
        add_custom_command(
            OUTPUT ${generated}
            COMMAND ${HIDL_GEN} ${HIDL_OPTIONS} -L c++-headers ${package}
            COMMAND ${HIDL_GEN} ${HIDL_OPTIONS} -L c++-sources ${package}
            DEPENDS ${HIDL_INPUTS}
            COMMENT "Generating ${package}")
        list(APPEND sources ${generated})
        string(REGEX REPLACE "[^a-z0-9_]" "_" target hidl_${package})
        add_custom_target(${target} DEPENDS ${generated})
        add_dependencies(hidl_generated ${target})
    endforeach()
    set(${variable} ${sources} PARENT_SCOPE)
endfunction()
