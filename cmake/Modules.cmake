# nimbe_module(NAME [LINKS module...] [USES library...] SOURCES file...)
#
# One folder, one static library. Its headers are included as "NAME/Header.h"
# and are reached through a folder that holds nothing but this module, so code
# sees exactly the modules on its link line: an include against the direction
# of the arrows does not compile.
#   LINKS  modules and libraries that this module's headers show
#   USES   libraries that only its sources know
function(nimbe_module name)
    cmake_parse_arguments(MODULE "" "" "LINKS;USES;SOURCES" ${ARGN})
    add_library(${name} STATIC ${MODULE_SOURCES})

    set(include_root ${CMAKE_BINARY_DIR}/include/${name})
    file(MAKE_DIRECTORY ${include_root})
    file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR} ${include_root}/${name} SYMBOLIC)

    target_include_directories(${name} PUBLIC ${include_root})
    target_link_libraries(${name} PUBLIC ${MODULE_LINKS} PRIVATE ${MODULE_USES})
endfunction()
