// Ctrl-C, as a question that is asked between two calls.
//
// A signal must not end the program in the middle of a call: images, links and directories would stay. So the handler
// only takes a note, and system calls that wait (standard input, mostly) return with EINTR.
#pragma once

// From now on SIGINT, SIGTERM and SIGHUP are noted, unless the program was started with them ignored. A second one of them ends the program at once. SIGPIPE is ignored:
// a reader that goes away is seen as a failing write.
void catch_interrupts();

// The signal that was noted, 0 if none.
int noted_interrupt();

// Throws Interrupted if a signal was noted.
void stop_if_interrupted();

// Ends the program by the signal, as the shell expects of an interrupted program.
[[noreturn]] void end_by_signal(int signal);
