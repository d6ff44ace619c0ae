#pragma once

// Processor clock, durations and the one sleep of a run.
class QDTimeService
{
public:
    static long clock();
    // Processor time used by the process, in milliseconds: for durations only.
    static unsigned int getCurTimeInMS();
    static void sleep(unsigned int ms);
};
