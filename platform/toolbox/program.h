#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Toolbox
{

class CInterruption;

struct SProgramEnd
{
    /// What it exited with; 127 if it could not be started, 128 and the signal's number if a signal ended it.
    int status = 0;

    /// The beginning of what it wrote to its standard error, or why it could not be started.
    std::string errors;
};

/// Runs a program without a shell, with a bare environment, and waits for its end. Of this process's
/// descriptors it gets none but @p output.
///
/// Threads: any.
/// @param command  path of the program, and its arguments as it gets them
/// @param input    what it reads on its standard input
/// @param output   descriptor of what its standard output goes to; -1 for nowhere
/// @param interruption  kills the program, if it isn't null
/// @throws std::system_error if there are no descriptors for it; of std::errc::operation_canceled if it was
/// interrupted before its end was seen
SProgramEnd RunProgram(const std::vector<std::string>& command,
                       std::string_view input = {},
                       int output = -1,
                       CInterruption* interruption = nullptr);

} // namespace Toolbox
