# Debian's packages, as imported targets. Their headers are system headers.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)

pkg_check_modules(AVAHI REQUIRED IMPORTED_TARGET avahi-core)
pkg_check_modules(CRYPT REQUIRED IMPORTED_TARGET libxcrypt)
pkg_check_modules(CURL REQUIRED libcurl)
pkg_check_modules(JSONCPP REQUIRED IMPORTED_TARGET jsoncpp)
pkg_check_modules(MICROHTTPD REQUIRED IMPORTED_TARGET libmicrohttpd)
pkg_check_modules(MODBUS REQUIRED IMPORTED_TARGET libmodbus)
pkg_check_modules(WOLFSSL REQUIRED IMPORTED_TARGET wolfssl)
find_package(fmt REQUIRED)
find_package(spdlog REQUIRED)

option(WEBBACKEND_STATIC_GRPC "Link gRPC without TLS and statically: less memory, faster start" OFF)
add_library(webbackend_grpc INTERFACE)
if(WEBBACKEND_STATIC_GRPC)
    include(cmake/staticgrpc.cmake)
else()
    pkg_check_modules(GRPC REQUIRED IMPORTED_TARGET grpc++)
    pkg_check_modules(PROTOBUF_LITE REQUIRED IMPORTED_TARGET protobuf-lite)
    target_link_libraries(webbackend_grpc INTERFACE PkgConfig::GRPC PkgConfig::PROTOBUF_LITE)
endif()

find_program(PROTOC protoc REQUIRED)
find_program(GRPC_CPP_PLUGIN grpc_cpp_plugin REQUIRED)

# Headers only
find_path(WEBSOCKETPP_INCLUDE websocketpp/server.hpp REQUIRED)
find_path(ASIO_INCLUDE asio.hpp REQUIRED)
add_library(webbackend_websocketpp INTERFACE)
target_include_directories(webbackend_websocketpp SYSTEM INTERFACE ${WEBSOCKETPP_INCLUDE} ${ASIO_INCLUDE})
target_compile_definitions(webbackend_websocketpp INTERFACE ASIO_STANDALONE _WEBSOCKETPP_CPP11_STL_)
target_link_libraries(webbackend_websocketpp INTERFACE Threads::Threads)
