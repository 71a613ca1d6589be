#include "runs/process_start.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "ending.hpp"

namespace tiomipra {

void openMissingStreams() {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (fcntl(stream, F_GETFD) >= 0)
            continue;
        // The lowest number is taken. For reading only, so that writing fails.
        if (open("/dev/null", O_RDONLY) != stream)
            std::_Exit(static_cast<int>(Status::input));
    }
}

void surviveFileLimit() {
    std::signal(SIGXFSZ, SIG_IGN);
}

}  // namespace tiomipra
