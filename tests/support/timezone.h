#pragma once

#include <stdlib.h>
#include <time.h>

#include <optional>
#include <string>

/// The process's time zone while it lives. No other thread asks for the local time
/// while it comes or goes.
class CTimeZone
{
public:
    explicit CTimeZone(const std::string& zone)
    {
        if (const char* present = getenv("TZ"))
        {
            before = present;
        }
        setenv("TZ", zone.c_str(), 1);
        tzset();
    }

    ~CTimeZone()
    {
        before ? setenv("TZ", before->c_str(), 1) : unsetenv("TZ");
        tzset();
    }

    CTimeZone(const CTimeZone&) = delete;
    CTimeZone& operator=(const CTimeZone&) = delete;
    CTimeZone(CTimeZone&&) = delete;
    CTimeZone& operator=(CTimeZone&&) = delete;

private:
    std::optional<std::string> before;
};
