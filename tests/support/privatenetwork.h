#pragma once

#include <gtest/gtest.h>

/// Moves the calling thread, and with it the threads and processes it starts later, to a network namespace of
/// its own, in which only the loopback interface is up and no port is in use. So tests that listen on fixed
/// ports can run at the same time. Without the right to do that it is tried in a user namespace of its own
/// too, which the kernel only permits while the process has one thread; the user keeps its number there.
/// @throws std::system_error, with a text that tells what isn't permitted
void EnterPrivateNetwork();

/// Has all tests of an executable run in a private network, at namespace scope in one of its sources:
///
///     const auto* const network = testing::AddGlobalTestEnvironment(new CPrivateNetwork);
///
/// Without permission the executable fails with that text and runs no test.
class CPrivateNetwork : public testing::Environment
{
public:
    void SetUp() override;
};
