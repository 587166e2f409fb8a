#pragma once

#include <random>
#include <string>

/// A new session key: 64 lower-case hexadecimal digits, the SHA-256 of the engine's next 32 values.
/// @throws std::runtime_error if the digest can't be made
std::string GenerateSessionKey(std::mt19937& engine);
