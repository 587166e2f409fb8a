#pragma once

#include <iosfwd>

/// The program webbackend-passwd: encodes a password or PUK for the configuration "secrets", as
/// "WebIfManagementPassword" or "WebIfPukCode".
///
/// Reads one line from @p input, without its line feed, and writes the encoded form to @p output as a line;
/// why it can't goes to @p errors. Option -h or --help prints the usage instead.
/// @return exit status: 0, 1 for a password that can't be used or an output that can't be written, 2 for a
/// wrong command line
int RunPasswd(int argc, char** argv, std::istream& input, std::ostream& output, std::ostream& errors);
