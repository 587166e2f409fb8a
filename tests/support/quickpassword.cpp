#include "tests/support/quickpassword.h"

#include <crypt.h>

#include <memory>
#include <stdexcept>

std::string EncodedQuickly(const std::string& password)
{
    // bcrypt at its least cost
    const std::string setting = "$2b$04$abcdefghijklmnopqrstuu";
    const auto data = std::make_unique<crypt_data>();
    const char* encoded = crypt_r(password.c_str(), setting.c_str(), data.get());
    if (!encoded || encoded[0] == '*')
    {
        throw std::runtime_error("this system's crypt has no bcrypt");
    }
    return encoded;
}
