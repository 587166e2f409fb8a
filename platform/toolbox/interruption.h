#pragma once

#include <functional>
#include <list>
#include <mutex>

namespace Toolbox
{

/// Ends what would otherwise keep its caller waiting, such as a program that runs. Threads: any.
class CInterruption
{
public:
    /// Something that can be ended, for as long as the object lives. It is ended at once if it comes while
    /// the interruption lasts.
    class CHold
    {
    public:
        /// @param end  runs on the interrupting thread, at most once for each interruption, and never after
        /// the object has gone. It must neither wait nor use the interruption.
        CHold(CInterruption& interruption, std::function<void()> end);
        ~CHold();
        CHold(const CHold&) = delete;
        CHold& operator=(const CHold&) = delete;
        CHold(CHold&&) = delete;
        CHold& operator=(CHold&&) = delete;

    private:
        CInterruption& interruption;
        std::list<std::function<void()>>::iterator place;
    };

    /// Ends what is held, and what will be until Resume.
    void Interrupt();
    void Resume();

    bool IsInterrupted() const;

private:
    mutable std::mutex mutex;

    // Guarded by mutex
    std::list<std::function<void()>> held;
    bool interrupted = false;
};

} // namespace Toolbox
