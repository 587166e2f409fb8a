#pragma once

#include <string>

namespace Json
{
class Value;
}

/// Reports a changed setting to the station's diagnostics, as a signal with the text of the new value: signal
/// 20301 for a security parameter, 20500 for any other. Keys and passwords among the security parameters show
/// as "****". A value that has no text, such as an object, is only logged.
///
/// It is the change callback of the configurations "network", "secrets" and "settings", and so runs on the
/// thread that makes the change and waits for the diagnostics there.
///
/// Threads: any, several at the same time.
/// @throws Rpc::CommunicationException if the diagnostics can't be reached, std::logic_error before there is
/// a way to them; the change stands all the same
void ConfigChangeCallback(const std::string& key, const Json::Value& value);
