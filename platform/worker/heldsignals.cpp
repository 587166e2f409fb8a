#include "platform/worker/heldsignals.h"

namespace
{

sigset_t EndingSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    return signals;
}

} // namespace

CHeldSignals::CHeldSignals()
    : before()
{
    const sigset_t held = EndingSignals();
    pthread_sigmask(SIG_BLOCK, &held, &before);
}

CHeldSignals::~CHeldSignals()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

void CHeldSignals::Release()
{
    const sigset_t released = EndingSignals();
    pthread_sigmask(SIG_UNBLOCK, &released, nullptr);
}
