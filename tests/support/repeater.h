#pragma once

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>
#include <utility>

/// Does the same over and over, until the object goes; what is refused or broken off is tried again.
class CRepeater
{
public:
    explicit CRepeater(std::function<void()> action)
        : thread(
              [this, action = std::move(action)]
              {
                  while (!over)
                  {
                      try
                      {
                          action();
                      }
                      catch (const std::runtime_error&)
                      {
                          // as a stopped server does
                      }
                  }
              })
    {
    }

    ~CRepeater()
    {
        over = true;
        thread.join();
    }

    CRepeater(const CRepeater&) = delete;
    CRepeater& operator=(const CRepeater&) = delete;
    CRepeater(CRepeater&&) = delete;
    CRepeater& operator=(CRepeater&&) = delete;

private:
    std::atomic<bool> over{false};
    std::thread thread;
};
