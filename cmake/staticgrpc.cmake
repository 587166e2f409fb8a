# gRPC without TLS and protobuf-lite from Debian's static archives. pkg-config names absl's archives many times over in
# its static list; the linker's group takes each once, in whatever order.
pkg_check_modules(GRPC REQUIRED grpc++_unsecure)
# What gRPC's archives need and pkg-config does not name
list(APPEND GRPC_STATIC_LIBRARIES address_sorting cares re2 upb z)
list(REMOVE_DUPLICATES GRPC_STATIC_LIBRARIES)

set(grpc_archives "")
set(grpc_shared "")
foreach(library IN LISTS GRPC_STATIC_LIBRARIES)
    find_library(archive_${library} lib${library}.a)
    if(archive_${library})
        list(APPEND grpc_archives ${archive_${library}})
    else()
        list(APPEND grpc_shared ${library})
    endif()
endforeach()
find_library(archive_protobuf_lite libprotobuf-lite.a REQUIRED)

target_include_directories(webbackend_grpc SYSTEM INTERFACE ${GRPC_INCLUDE_DIRS})
target_link_libraries(webbackend_grpc INTERFACE
    -Wl,--start-group ${grpc_archives} ${archive_protobuf_lite} -Wl,--end-group ${grpc_shared} Threads::Threads)
