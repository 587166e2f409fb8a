/// A Modbus TCP server for tests: modbusserver PORT [drop]. Takes connections of IPv4 and IPv6 one after the
/// other, serves each until it is closed, or drops it at once. Writes "ready" to standard error when it
/// listens, then "taken" and "closed" for each connection.
#include <modbus.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <iostream>
#include <memory>

int main(int argc, char** argv)
{
    if (argc < 2)
    {
        return 2;
    }
    const bool drops = argc > 2;
    const std::unique_ptr<modbus_t, void (*)(modbus_t*)> server(modbus_new_tcp_pi("::", argv[1]),
                                                                &modbus_free);
    const std::unique_ptr<modbus_mapping_t, void (*)(modbus_mapping_t*)> registers(
        modbus_mapping_new(0, 0, 10, 0), &modbus_mapping_free);
    int listener = modbus_tcp_pi_listen(server.get(), 8);
    if (listener < 0)
    {
        std::cerr << modbus_strerror(errno) << std::endl;
        return 1;
    }
    std::cerr << "ready" << std::endl;
    while (modbus_tcp_pi_accept(server.get(), &listener) >= 0)
    {
        std::cerr << "taken" << std::endl;
        std::array<std::uint8_t, MODBUS_TCP_MAX_ADU_LENGTH> query{};
        int size = 0;
        while (!drops && (size = modbus_receive(server.get(), query.data())) >= 0)
        {
            modbus_reply(server.get(), query.data(), size, registers.get());
        }
        modbus_close(server.get());
        std::cerr << "closed" << std::endl;
    }
    return 0;
}
