# webbackend_library(NAME SOURCES file... [PUBLIC target...] [PRIVATE target...])
# A static library of ours. PUBLIC only for what its headers need.
function(webbackend_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    target_link_libraries(${name} PUBLIC webbackend_options ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
endfunction()

# What nearly every test includes is parsed once, for all of them.
function(webbackend_precompile_test_headers)
    add_library(test_headers OBJECT ${PROJECT_SOURCE_DIR}/tests/support/headers.cpp)
    target_link_libraries(test_headers PRIVATE webbackend_options GTest::gmock)
    target_precompile_headers(test_headers PRIVATE
        <gmock/gmock.h> <gtest/gtest.h>
        <chrono> <filesystem> <fstream> <functional> <future> <map> <memory> <optional> <regex> <string> <thread> <vector>)
endfunction()

# webbackend_test(NAME SOURCES file... LINK target... [LABEL unit|integration|e2e])
# One GoogleTest executable. Each of its tests is a test of ctest's; where a sanitizer makes the start of a program slow,
# only the end-to-end tests are, which start programs anyway.
function(webbackend_test name)
    cmake_parse_arguments(arg "" "LABEL" "SOURCES;LINK" ${ARGN})
    if(NOT arg_LABEL)
        set(arg_LABEL unit)
    endif()
    # end-to-end tests hold the process to times
    set(serial OFF)
    if(arg_LABEL STREQUAL "e2e")
        set(serial ON)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE webbackend_options ${arg_LINK} GTest::gmock_main)
    target_precompile_headers(${name} REUSE_FROM test_headers)
    if(WEBBACKEND_SANITIZE AND NOT serial)
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL})
        return()
    endif()
    gtest_discover_tests(${name} TEST_PREFIX ${name}. DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST
                         PROPERTIES LABELS ${arg_LABEL} RUN_SERIAL ${serial})
endfunction()
