# A header with a source file is included there first, and so compiles alone. For each of the others this makes a source
# that includes nothing else; building them is the test.
file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
    platform/*.h platform/*.hpp contracts/*.h statemachines/*.h src/*.h simulator/*.h)

set(header_sources "")
foreach(header IN LISTS headers)
    string(REGEX REPLACE "\\.h(pp)?$" ".cpp" source ${header})
    if(NOT EXISTS ${PROJECT_SOURCE_DIR}/${source})
        file(CONFIGURE OUTPUT ${CMAKE_BINARY_DIR}/headers/${source} CONTENT "#include \"@header@\"\n" @ONLY)
        list(APPEND header_sources ${CMAKE_BINARY_DIR}/headers/${source})
    endif()
endforeach()

add_library(webbackend_headers OBJECT ${header_sources})
target_link_libraries(webbackend_headers PRIVATE
    webbackend_app webbackend_api webbackend_rest webbackend_simulator webbackend_services fmt::fmt spdlog::spdlog)
