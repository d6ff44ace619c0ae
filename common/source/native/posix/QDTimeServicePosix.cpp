#include "QDTimeService.h"

#include <ctime>
#include <unistd.h>

long QDTimeService::clock() { return long(::clock()); }

unsigned int QDTimeService::getCurTimeInMS() { return (unsigned int)(::clock() / 1000); }

void QDTimeService::sleep(unsigned int ms)
{
    // usleep takes at most a second on some systems: split long waits.
    unsigned long long us = (unsigned long long)ms * 1000ull;
    while (us > 0)
    {
        unsigned int step = us > 500000ull ? 500000u : (unsigned int)us;
        usleep(step);
        us -= step;
    }
}
