// Stand-in for the launcher that brings up the sculpting application: it only
// records that it was started, and with what.

#include "StandInRecord.h"

int main(int argc, char** argv)
{
    recordArguments(recordStem(argv[0]), argc, argv);
    return 0;
}
