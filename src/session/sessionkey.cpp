#include "src/session/sessionkey.h"

#include <wolfssl/options.h>
#include <wolfssl/wolfcrypt/hash.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <stdexcept>

namespace
{

constexpr std::size_t DrawnValues = 32;
constexpr const char* HexDigits = "0123456789abcdef";

using Seed = std::array<unsigned char, DrawnValues * sizeof(std::uint32_t)>;
using Digest = std::array<unsigned char, WC_SHA256_DIGEST_SIZE>;

Seed DrawSeed(std::mt19937& engine)
{
    std::array<std::uint32_t, DrawnValues> values{};
    for (std::uint32_t& value : values)
    {
        value = static_cast<std::uint32_t>(engine());
    }
    Seed seed{};
    std::memcpy(seed.data(), values.data(), seed.size());
    return seed;
}

Digest DigestOf(const Seed& seed)
{
    Digest digest{};
    const int status = wc_Sha256Hash(seed.data(), static_cast<word32>(seed.size()), digest.data());
    if (status != 0)
    {
        throw std::runtime_error("Cannot make a session key: wolfSSL error " + std::to_string(status));
    }
    return digest;
}

} // namespace

std::string GenerateSessionKey(std::mt19937& engine)
{
    std::string key;
    for (const unsigned char value : DigestOf(DrawSeed(engine)))
    {
        key += HexDigits[value >> 4U];
        key += HexDigits[value & 0xFU];
    }
    return key;
}
