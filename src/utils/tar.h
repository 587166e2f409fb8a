#pragma once

#include <string>

/// Packs a directory into a tar archive, without a shell. A failure is logged.
/// Threads: any; takes as long as the packing.
/// @param directory  packed under its own path, without a leading slash
/// @param archive    path of the archive, which is overwritten
/// @return whether the archive is whole
bool Tar(const std::string& directory, const std::string& archive);
