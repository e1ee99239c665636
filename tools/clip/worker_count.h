// How many threads work on a command.
#pragma once

/// Workers for `jobs` things at a time, 0 for as many as are useful. No more than there are processors that
/// this process may use (sched_setaffinity(2)): each further one takes the memory of a frame, and the work is
/// done no sooner. At least one.
[[nodiscard]] unsigned workerCount(unsigned jobs);
