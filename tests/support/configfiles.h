#pragma once

#include "platform/config/tarnconfig.h"

#include <json/value.h>

#include <memory>
#include <string>

#include "tests/support/temporarydirectory.h"

/// Configuration files of a test's own, which go when the object goes. Only the writable layer is used.
class CConfigFiles
{
public:
    CConfigFiles();

    std::string Root() const { return directory.Root(); }

    /// Replaces what a configuration holds, before it is opened.
    void Write(const std::string& name, const std::string& json) const;

    /// Opens a configuration, also for a second time, as another process does.
    std::shared_ptr<TarnConfig> Open(const std::string& name, TarnConfig::ChangeCallback callback = {}) const;

    /// What the file of a configuration holds now, as compact JSON text; empty if there is no file.
    std::string Stored(const std::string& name) const;

    /// The same of one key; empty if it isn't there.
    std::string Stored(const std::string& name, const std::string& key) const;

private:
    const CTemporaryDirectory directory;
};
