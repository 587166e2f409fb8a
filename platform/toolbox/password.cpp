#include "platform/toolbox/password.h"

#include <crypt.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <memory>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <utility>

namespace Toolbox
{

namespace
{

static_assert(CPassword::MaxBytes + 1 == CRYPT_MAX_PASSPHRASE_SIZE);

constexpr const char* NewMethod = "$y$";
constexpr std::string_view HashLetters = "./0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";

struct SMethod
{
    std::string_view prefix;
    /// letters behind the last $; with bcrypt the salt is among them
    std::size_t hashLength;
    /// the longest password of which every byte counts
    std::size_t maxBytes;
};

constexpr std::array<SMethod, 7> Methods{{
    {"$2a$", 53, 72},
    {"$2b$", 53, 72},
    {"$2y$", 53, 72},
    {"$6$", 86, CPassword::MaxBytes},
    {"$7$", 43, CPassword::MaxBytes},
    {"$gy$", 43, CPassword::MaxBytes},
    {"$y$", 43, CPassword::MaxBytes},
}};

const SMethod* FindMethod(std::string_view encoded)
{
    const auto* const found =
        std::find_if(Methods.begin(),
                     Methods.end(),
                     [&](const SMethod& row) { return encoded.substr(0, row.prefix.size()) == row.prefix; });
    return found != Methods.end() ? found : nullptr;
}

bool HasWholeHash(std::string_view encoded, const SMethod& method)
{
    const std::string_view hash = encoded.substr(encoded.rfind('$') + 1);
    return hash.size() == method.hashLength && hash.find_first_not_of(HashLetters) == std::string_view::npos;
}

bool CanBeTakenWhole(const std::string& password, std::size_t maxBytes)
{
    return password.size() <= maxBytes && password.find('\0') == std::string::npos;
}

/// The encoded form of the password with method and salt of @p setting; of no hash's form if crypt fails.
std::string Crypt(const std::string& password, const std::string& setting)
{
    // 32 KiB, too much for a stack. crypt itself wipes what it noted in there.
    const auto data = std::make_unique<crypt_data>();
    return crypt_r(password.c_str(), setting.c_str(), data.get());
}

std::string NewSetting()
{
    std::array<char, CRYPT_GENSALT_OUTPUT_SIZE> setting{};
    if (crypt_gensalt_rn(NewMethod, 0, nullptr, 0, setting.data(), static_cast<int>(setting.size())) ==
        nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "Cannot make a salt");
    }
    return setting.data();
}

bool AreEqualInConstantTime(std::string_view one, std::string_view other)
{
    if (one.size() != other.size())
    {
        return false;
    }
    // volatile, so that the compiler can't see a difference that it may stop at
    volatile unsigned char differences = 0;
    for (std::size_t i = 0; i < one.size(); ++i)
    {
        differences = static_cast<unsigned char>(differences | (one[i] ^ other[i]));
    }
    return differences == 0;
}

} // namespace

std::optional<CPassword> CPassword::FromEncoded(const std::string& encoded)
{
    const SMethod* method = FindMethod(encoded);
    if (method == nullptr || encoded.size() >= CRYPT_OUTPUT_SIZE || encoded.find('\0') != std::string::npos ||
        !HasWholeHash(encoded, *method) || crypt_checksalt(encoded.c_str()) != CRYPT_SALT_OK)
    {
        return std::nullopt;
    }
    return CPassword(encoded);
}

CPassword CPassword::FromPlainText(const std::string& password)
{
    if (!CanBeTakenWhole(password, MaxBytes))
    {
        throw std::invalid_argument("A password has at most 511 bytes, and none of them is zero");
    }
    std::optional<CPassword> made = FromEncoded(Crypt(password, NewSetting()));
    if (!made)
    {
        throw std::runtime_error("Cannot hash the password");
    }
    return *std::move(made);
}

bool CPassword::Equal(const std::string& password) const
{
    return CanBeTakenWhole(password, FindMethod(encoded)->maxBytes) &&
           AreEqualInConstantTime(Crypt(password, encoded), encoded);
}

CPassword::CPassword(std::string encoded)
    : encoded(std::move(encoded))
{
}

} // namespace Toolbox
