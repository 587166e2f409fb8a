/// The trace of a state machine: one line at trace level, without a source prefix, for each step that it
/// takes.
#pragma once

#include <string_view>

namespace HsmTrace
{

void Init(std::string_view machine);
void Entry(std::string_view leaf);
void Exit(std::string_view leaf);

void Received(std::string_view leaf, std::string_view event);

/// @param state  the leaf or composite whose reaction it is
void Handled(std::string_view state, std::string_view event);

void Unhandled(std::string_view composite, std::string_view event);

} // namespace HsmTrace
