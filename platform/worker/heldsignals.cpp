#include "platform/worker/heldsignals.h"

CHeldSignals::CHeldSignals()
    : before()
{
    sigset_t held;
    sigemptyset(&held);
    sigaddset(&held, SIGINT);
    sigaddset(&held, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &held, &before);
}

CHeldSignals::~CHeldSignals()
{
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}
