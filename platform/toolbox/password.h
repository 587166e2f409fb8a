#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace Toolbox
{

/// A password that is known by its hash only, and can tell whether a plain text is it.
///
/// The encoded form is crypt(5)'s: "$METHOD$…$HASH". Passwords are any bytes, compared byte by byte. One that
/// the method can't take whole is nobody's password: with a NUL byte in it, or longer than MaxBytes (than 72
/// bytes for bcrypt).
///
/// Threads: any.
class CPassword
{
public:
    /// The longest password that can be encoded.
    static constexpr std::size_t MaxBytes = 511;

    /// Takes what ToString has given, or a whole crypt(5) text of another method that is current with this
    /// system's crypt. Costs no hashing.
    /// @return empty for all else, such as texts of outdated methods and clipped ones
    static std::optional<CPassword> FromEncoded(const std::string& encoded);

    /// Hashes the password with a fresh salt, by yescrypt at its default cost.
    /// @throws std::invalid_argument if it can't be taken whole
    /// @throws std::runtime_error if crypt fails, for want of memory or random numbers
    static CPassword FromPlainText(const std::string& password);

    /// Whether @p password is the one. Takes as long as hashing it, with yescrypt some 16 MiB of memory, and
    /// tells by its time nothing of how much agrees. What can't be taken whole is answered at once. False
    /// also when crypt fails for want of memory.
    bool Equal(const std::string& password) const;

    /// The encoded form.
    const std::string& ToString() const { return encoded; }

private:
    explicit CPassword(std::string encoded);

    std::string encoded;
};

} // namespace Toolbox
