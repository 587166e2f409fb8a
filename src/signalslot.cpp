#include "src/signalslot.h"

#include <fcntl.h>
#include <pthread.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace
{

std::function<void(int)>& Slot()
{
    static std::function<void(int)> slot;
    return slot;
}

extern "C" void HandleSignal(int number)
{
    if (Slot())
    {
        Slot()(number);
    }
}

} // namespace

void SignalSlot::Fill(std::function<void(int)> callable)
{
    Slot().swap(callable);
}

void SignalSlot::Install()
{
    std::signal(SIGINT, &HandleSignal);
}

void SignalSlot::Remove()
{
    std::signal(SIGINT, SIG_DFL);
}

SignalSlot::CThread::SPipe::SPipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
    {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    readEnd = ends[0];
    writeEnd = ends[1];
}

SignalSlot::CThread::SPipe::~SPipe()
{
    CloseWriteEnd();
    close(readEnd);
}

void SignalSlot::CThread::SPipe::CloseWriteEnd()
{
    if (writeEnd >= 0)
    {
        close(std::exchange(writeEnd, -1));
    }
}

SignalSlot::CThread::CThread()
    : thread(
          [readEnd = end.readEnd]
          {
              pthread_setname_np(pthread_self(), "signals");
              CHeldSignals::Release();
              char nothing = 0;
              while (read(readEnd, &nothing, 1) < 0 && errno == EINTR)
              {
              }
          })
{
}

SignalSlot::CThread::~CThread()
{
    end.CloseWriteEnd();
    thread.join();
}
