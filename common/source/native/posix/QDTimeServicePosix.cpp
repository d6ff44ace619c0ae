#include "QDTimeService.h"

#include <cerrno>
#include <ctime>

long QDTimeService::clock()
{
    return long(::clock());
}

unsigned int QDTimeService::getCurTimeInMS()
{
    return (unsigned int)(::clock() / 1000);
}

namespace
{
QDTimeService::Sleeper s_sleeper = nullptr;
}

void QDTimeService::setSleeper(Sleeper sleeper)
{
    s_sleeper = sleeper;
}

// The launched application is given this long to start: a signal arriving
// meanwhile must not cut the wait short, so the remainder is slept again.
void QDTimeService::sleep(unsigned int ms)
{
    if (s_sleeper)
    {
        s_sleeper(ms);
        return;
    }
    timespec wait;
    wait.tv_sec = time_t(ms / 1000);
    wait.tv_nsec = long(ms % 1000) * 1000000L;
    while (nanosleep(&wait, &wait) != 0 && errno == EINTR)
    {
    }
}
