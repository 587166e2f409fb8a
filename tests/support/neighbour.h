#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tests/support/childprocess.h"

/// Another machine on the network of a test that is in a private one (CPrivateNetwork): a network namespace
/// with one link to the test's. The other machine is 10.9.0.2 and fd00:9::2, the test's 10.9.0.1 and
/// fd00:9::1. One at a time; it goes with its programs when the object goes. Needs root.
class CNeighbour
{
public:
    /// Names of the link's ends.
    static constexpr const char* OurEnd = "ours";
    static constexpr const char* TheirEnd = "theirs";

    /// An address over there that takes packets and answers nothing.
    static constexpr const char* SilentAddress = "10.9.0.99";

    CNeighbour();
    ~CNeighbour();
    CNeighbour(const CNeighbour&) = delete;
    CNeighbour& operator=(const CNeighbour&) = delete;
    CNeighbour(CNeighbour&&) = delete;
    CNeighbour& operator=(CNeighbour&&) = delete;

    /// The command that runs a program over there, which is given by its path.
    std::vector<std::string> Command(const std::vector<std::string>& program) const;

    /// Runs a program over there that writes @p ready to its standard error when it can be used.
    /// @throws std::runtime_error if it doesn't in time
    std::unique_ptr<CChildProcess> Start(const std::vector<std::string>& program,
                                         const std::string& ready = "ready") const;

private:
    void Run(const std::vector<std::string>& command) const;

    std::unique_ptr<CChildProcess> machine;
};
