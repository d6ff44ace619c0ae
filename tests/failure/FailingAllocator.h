#pragma once

// The test binary's own operator new (and, where no sanitizer owns it, malloc):
// it counts allocations and fails the one chosen, so that every allocation a
// send makes can be made to fail in turn.
namespace failing
{
// The nth allocation from now on (1 for the next) fails, once; 0 fails none.
// Counting restarts either way.
void failAt(long n);
// Allocations counted since the last failAt().
long allocationsMade();
// Whether the chosen allocation was reached and failed.
bool failed();
// Blocks allocated and not yet freed, counted since the program started.
long liveBlocks();
// Whether malloc itself is counted (not under a sanitizer, which owns it).
bool countsMalloc();
} // namespace failing
