// What this process must have put right before anything else.
#ifndef TIOMIPRA_RUNS_PROCESS_START_HPP
#define TIOMIPRA_RUNS_PROCESS_START_HPP

namespace tiomipra {

// Opens standard input, output and error where they were closed, as otherwise the next file that is
// opened would be taken for them. What is written to one that was closed fails, so that a lost
// result is found out.
void openMissingStreams();

// Lets a file that grows beyond the limit of the process (ulimit -f) fail to be written, instead of
// killing it.
void surviveFileLimit();

}  // namespace tiomipra

#endif
