#pragma once

// Processor clock, durations and the one sleep of a run.
class QDTimeService
{
public:
    static long clock();
    // Processor time used by the process, in milliseconds: for durations only.
    static unsigned int getCurTimeInMS();
    static void sleep(unsigned int ms);

    // What sleep() does instead of waiting, for tests that run many sends;
    // null puts the real wait back.
    typedef void (*Sleeper)(unsigned int ms);
    static void setSleeper(Sleeper sleeper);
};
