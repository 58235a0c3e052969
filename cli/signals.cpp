#include "cli/signals.h"

#include <unistd.h>

#include <csignal>
#include <thread>

#include "cli/Messages.h"
#include "cli/TemporaryFile.h"

void endCleanlyOnSignals() {
    std::signal(SIGXFSZ, SIG_IGN);
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler != SIG_IGN) sigaddset(&ending, signal);
    }
    // Blocked here and in all threads to come, so that they reach the one that waits for them,
    // which may lock and remove files as no handler may.
    pthread_sigmask(SIG_BLOCK, &ending, nullptr);
    std::thread([ending] {
        int signal = 0;
        sigwait(&ending, &signal);
        TemporaryFile::removeAllForGood();
        Messages(Verbosity::normal).status("");
        _exit(128 + signal);
    }).detach();
}
