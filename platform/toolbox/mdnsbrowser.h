#pragma once

#include <chrono>
#include <string>

/// Browses for a service by multicast DNS without publishing anything, and writes a line "ADDRESS HOSTNAME"
/// for each address of each device that answers, as soon as it is known.
///
/// Hostile packets can end the process from within libavahi-core 0.8, by an assertion. Once in a process;
/// SIGALRM ends a process that gets stuck.
/// @param output  descriptor for the lines
/// @throws std::runtime_error if that can't be done, with the reason
void BrowseMdns(const std::string& serviceName, std::chrono::milliseconds time, int output);

/// The program webbackend-mdns: SERVICE_NAME MILLISECONDS. @return its exit status
int RunMdnsBrowser(int argc, char** argv);
