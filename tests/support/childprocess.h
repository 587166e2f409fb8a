#pragma once

#include <sys/types.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/eventually.h"

/// How a process ended.
struct SProcessEnd
{
    /// Exit status, -1 if a signal ended it.
    int status = -1;

    /// The signal that ended it, 0 if it exited.
    int signal = 0;

    /// From the wait's begin to the end.
    std::chrono::milliseconds duration{0};
};

/// A program that runs beside the test, with the lines that it writes. Killed when the object goes.
/// Threads: one at a time.
class CChildProcess
{
public:
    /// @param command  program and arguments
    explicit CChildProcess(std::vector<std::string> command);
    ~CChildProcess();
    CChildProcess(const CChildProcess&) = delete;
    CChildProcess& operator=(const CChildProcess&) = delete;
    CChildProcess(CChildProcess&&) = delete;
    CChildProcess& operator=(CChildProcess&&) = delete;

    pid_t Id() const { return pid; }
    void Signal(int number) const;

    /// @throws std::runtime_error if it does not end in time
    SProcessEnd AwaitEnd(std::chrono::milliseconds patience = TestPatience);

    /// Whether a line holding this text appears on standard error in time.
    bool AwaitErrorLine(const std::string& text, std::chrono::milliseconds patience = TestPatience);

    /// What it has written; all of it once AwaitEnd has returned.
    std::string Output();
    std::string Errors();

private:
    /// Reads one of the child's streams line by line.
    class CReader;

    pid_t pid = -1;
    bool ended = false;
    std::unique_ptr<CReader> output;
    std::unique_ptr<CReader> errors;
};
