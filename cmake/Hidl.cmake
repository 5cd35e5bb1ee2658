# hidl_sources(<variable> <package>@<version>...)
#
# Has the HIDL compiler generate the C++ code of packages into <build>/hidl, and sets the variable
# to the generated sources. The generated headers exist once the target hidl_generated is built.
find_program(HIDL_GEN hidl-gen REQUIRED)

set(HIDL_OUTPUT ${CMAKE_BINARY_DIR}/hidl)
set(HIDL_ROOTS -R -p ${CMAKE_SOURCE_DIR}
    -r com.zavo.dtv.hardware.audio:interfaces
    -r android.hidl:host/interfaces/hidl
    -r android.hardware:host/interfaces/hardware)

if(NOT TARGET hidl_generated)
    add_custom_target(hidl_generated)
endif()

function(hidl_sources variable)
    set(sources)
    foreach(package ${ARGN})
        string(REPLACE "@" "/" path ${package})
        string(REGEX REPLACE "^com[.]zavo[.]dtv[.]hardware[.]audio/" "interfaces/" folder ${path})
        string(REGEX REPLACE "^android[.](hidl|hardware)[.]" "host/interfaces/\\1/"
               folder ${folder})
        file(GLOB definitions CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.hal)
        string(REGEX MATCH "^[^/]+" name ${path})
        string(REPLACE "." "/" output ${name})
        string(REGEX REPLACE "^[^/]+" "${output}" output ${path})

        set(generated)
        foreach(definition ${definitions})
            get_filename_component(stem ${definition} NAME_WE)
            string(REGEX REPLACE "^I(.*)$" "\\1All" stem ${stem})
            list(APPEND generated ${HIDL_OUTPUT}/${output}/${stem}.cpp)
        endforeach()
        set(frozen ${CMAKE_SOURCE_DIR}/interfaces/current.txt
                   ${CMAKE_SOURCE_DIR}/host/interfaces/hidl/current.txt
                   ${CMAKE_SOURCE_DIR}/host/interfaces/hardware/current.txt)
        file(GLOB_RECURSE imports CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/interfaces/*.hal
                                                    ${CMAKE_SOURCE_DIR}/host/interfaces/*.hal)
        add_custom_command(
            OUTPUT ${generated}
            COMMAND ${HIDL_GEN} ${HIDL_ROOTS} -o ${HIDL_OUTPUT} -L c++-headers ${package}
            COMMAND ${HIDL_GEN} ${HIDL_ROOTS} -o ${HIDL_OUTPUT} -L c++-sources ${package}
            DEPENDS ${imports} ${frozen}
            COMMENT "Generating ${package}")
        list(APPEND sources ${generated})
        string(REGEX REPLACE "[^a-z0-9_]" "_" target hidl_${package})
        add_custom_target(${target} DEPENDS ${generated})
        add_dependencies(hidl_generated ${target})
    endforeach()
    set(${variable} ${sources} PARENT_SCOPE)
endfunction()
