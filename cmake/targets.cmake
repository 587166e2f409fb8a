# webbackend_library(NAME SOURCES file... [PUBLIC target...] [PRIVATE target...])
# A static library of ours. PUBLIC only for what its headers need.
function(webbackend_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC webbackend_options ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
endfunction()

# webbackend_test(NAME SOURCES file... LINK target... [LABEL unit|integration|e2e] [BESIDE_OTHERS])
# One GoogleTest executable; each of its tests is a test of ctest's. With BESIDE_OTHERS also end-to-end tests may run
# together with other tests.
function(webbackend_test name)
    cmake_parse_arguments(arg "BESIDE_OTHERS" "LABEL" "SOURCES;LINK" ${ARGN})
    if(NOT arg_LABEL)
        set(arg_LABEL unit)
    endif()
    # end-to-end tests hold the process to times
    set(serial OFF)
    if(arg_LABEL STREQUAL "e2e" AND NOT arg_BESIDE_OTHERS)
        set(serial ON)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE webbackend_options ${arg_LINK} GTest::gmock_main)
    gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS ${arg_LABEL} RUN_SERIAL ${serial})
endfunction()
