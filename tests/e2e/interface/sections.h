/// The tables that state the interface of the process, by area.
#pragma once

#include "tests/e2e/interface/row.h"

namespace Interface
{

/// Sections of several areas that share a station: in commissioning mode with the image's files, and in
/// dashboard mode with files that hold next to nothing.
inline const char* const Commissioning = "Commissioning";
inline const char* const BareStation = "BareStation";

Sections Frame();
Sections Authentication();
Sections Passwords();
Sections UserSettings();
Sections NetworkSettings();
Sections Backoffices();
Sections Tokens();
Sections Schedules();
Sections SystemControl();
Sections Installation();
Sections Diagnostics();
Sections AutomaticUpdate();
Sections NetworkSetUp();
Sections Charging();
Sections Events();
Sections Uploads();

/// All of the above. Sections of one name are put together, with the files and rows of each.
Sections AllSections();

} // namespace Interface
