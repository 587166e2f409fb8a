#pragma once

#include <string>

/// Moves the calling thread, and with it the threads and processes it starts later, to a namespace of its
/// own. Without the right to do that it is tried in a user namespace of its own too, which the kernel only
/// permits while the process has one thread; the user keeps its number there.
/// @param kind     CLONE_NEWNET, CLONE_NEWNS, ...
/// @param purpose  what the namespace is for, to tell of when it isn't permitted
/// @throws std::system_error, with a text that tells what isn't permitted
void EnterPrivateNamespace(int kind, const std::string& purpose);
