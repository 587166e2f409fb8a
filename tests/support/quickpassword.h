#pragma once

#include <string>

/// The encoded form of a password for tests, by a method whose check takes next to no time.
std::string EncodedQuickly(const std::string& password);
