/// The tables that state the interface of the process, by area.
#pragma once

#include "tests/e2e/interface/row.h"

namespace Interface
{

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

/// All of the above.
Sections AllSections();

} // namespace Interface
