#include "cli/signals.h"

#include <unistd.h>

#include <csignal>
#include <thread>

#include "cli/Messages.h"
#include "pictures/TemporaryFile.h"

namespace cli {

void endCleanlyOnSignals() {
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&ending, signal);
    }
    // Blocked here and in all later threads, so that they reach the one that waits for them, which
    // may lock and remove files; a handler may not.
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::thread([ending] {
        int signal = 0;
        sigwait(&ending, &signal);
        pictures::TemporaryFile::removeAllForGood();
        Messages(Verbosity::normal).status("");
        _exit(128 + signal);
    }).detach();
}

}  // namespace cli
