# Flags that every target of ours carries, through the interface target webbackend_options.
add_library(webbackend_options INTERFACE)

target_compile_features(webbackend_options INTERFACE cxx_std_17)
target_include_directories(webbackend_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(webbackend_options INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    -Wold-style-cast -Wcast-align -Wformat=2 -Wnull-dereference -Wdouble-promotion)

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # plain -Wshadow objects to worker(std::move(worker)) in constructors
    target_compile_options(webbackend_options INTERFACE
        -Wshadow=local -Wduplicated-cond -Wduplicated-branches -Wlogical-op -Wsuggest-override)
endif()

# The source path in a log line is relative to the component; GCC takes the last map that matches.
target_compile_options(webbackend_options INTERFACE
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/statemachines/=../statemachines/)

set(WEBBACKEND_SANITIZE "" CACHE STRING "Sanitizers to build with, e.g. address,undefined or thread")
if(WEBBACKEND_SANITIZE)
    add_compile_options(-fsanitize=${WEBBACKEND_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${WEBBACKEND_SANITIZE})
    if(WEBBACKEND_SANITIZE MATCHES "thread")
        # GCC warns of std::atomic_thread_fence in library headers, which the thread sanitizer does not model
        add_compile_options(-Wno-tsan)
    endif()
    # GCC's flow analysis finds faults in instrumented code that the source does not have
    target_compile_options(webbackend_options INTERFACE -Wno-null-dereference -Wno-maybe-uninitialized)
endif()

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    # ccache wants to be told that precompiled headers are meant
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

find_program(MOLD_PROGRAM mold)
if(MOLD_PROGRAM AND NOT CMAKE_INTERPROCEDURAL_OPTIMIZATION)
    add_link_options(-fuse-ld=mold)
endif()
