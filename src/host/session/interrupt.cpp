// Signals: the handler notes the number; whoever polls acts on it. A timer ends a program that is deep in a computation
// that does not poll, since an interrupt has to be obeyed within two seconds.
#include "host/session/interrupt.h"

#include <unistd.h>
#include <csignal>
#include <initializer_list>

#include "host/session/output_file.h"

namespace vek {

namespace {

volatile std::sig_atomic_t pending = 0;
volatile std::sig_atomic_t patient_now = 0;

/// At the prompt an interrupt waits for the poll; a request to end does not.
bool waits(int number) { return patient_now != 0 && number == SIGINT; }

void end_at_once(int) {
    if (pending == 0 || waits(pending)) return;
    remove_temporary_files();
    _exit(128 + pending);
}

void note_signal(int number) {
    pending = number;
    if (!waits(number)) alarm(1);
}

}  // namespace

void install_signal_handlers() {
    struct sigaction action = {};
    sigemptyset(&action.sa_mask);
    action.sa_handler = note_signal;
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        // nohup goes on keeping SIGHUP away. A shell that starts a job in the background has SIGINT ignored for it too,
        // but who sends one to this process means it.
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        if (number != SIGHUP || before.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    action.sa_handler = end_at_once;
    sigaction(SIGALRM, &action, nullptr);
    struct sigaction ignore = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
    sigaction(SIGXFSZ, &ignore, nullptr);  // a file that grows over a limit is a write that fails
}

void wait_for_poll(bool patient) { patient_now = patient ? 1 : 0; }
int pending_signal() { return pending; }

void clear_signal() {
    pending = 0;
    alarm(0);
}

void raise_pending(int signal) { pending = signal; }

}  // namespace vek
