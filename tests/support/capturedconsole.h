#pragma once

#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace spdlog::sinks
{
class sink;
}

/// Switches console logging on, and takes down what goes to the console while it lives. The log has been
/// opened, such as by a CCapturedLog, which sets the level. Threads: any may log; Text when none does.
class CCapturedConsole
{
public:
    CCapturedConsole();

    /// Gives the console its sinks back, and console logging its former setting.
    ~CCapturedConsole();
    CCapturedConsole(const CCapturedConsole&) = delete;
    CCapturedConsole& operator=(const CCapturedConsole&) = delete;
    CCapturedConsole(CCapturedConsole&&) = delete;
    CCapturedConsole& operator=(CCapturedConsole&&) = delete;

    /// The lines without time and level, each with its end of line.
    std::string Text() const { return stream.str(); }

private:
    // Constant after construction
    const bool wasEnabled;
    const std::vector<std::shared_ptr<spdlog::sinks::sink>> formerSinks;

    std::ostringstream stream;
};
