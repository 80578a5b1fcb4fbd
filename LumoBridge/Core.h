// The bridge itself: start-up, the main thread's loop, and the shutdown.
#pragma once

// Runs the bridge between the library's start and its end. `argv[0]` is the program's name. Returns the exit status:
// 0 after a normal end or when no client link can be had, -1 when the SMU cannot be reached or the queues fail.
int Core(int argc, char *const *argv);
