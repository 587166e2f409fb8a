#pragma once

#include <filesystem>

/// Gives a firmware package to the group by which the station's update service reads it. The owner stays.
/// That it can't be done is only logged: the package is of use all the same. Threads: any.
void GiveToUpdateService(const std::filesystem::path& package);
