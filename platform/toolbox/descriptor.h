#pragma once

#include <unistd.h>

namespace Toolbox
{

/// A file descriptor that is closed when its owner goes.
class CDescriptor
{
public:
    /// @param number  negative for none
    explicit CDescriptor(int number)
        : number(number)
    {
    }
    ~CDescriptor()
    {
        if (number >= 0)
        {
            close(number);
        }
    }
    CDescriptor(const CDescriptor&) = delete;
    CDescriptor& operator=(const CDescriptor&) = delete;
    CDescriptor(CDescriptor&&) = delete;
    CDescriptor& operator=(CDescriptor&&) = delete;

    int Get() const { return number; }

private:
    const int number;
};

} // namespace Toolbox
