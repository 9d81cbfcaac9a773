// Signals: noticed by a handler, acted on where the program polls.
#pragma once

namespace vek {

/// SIGINT, SIGTERM and SIGHUP set the pending signal; a program that does not poll within a second is ended from the
/// handler, its temporary files removed. SIGPIPE is ignored.
void install_signal_handlers();
/// At the prompt SIGINT ends nothing from the handler.
void wait_for_poll(bool patient);
/// Number of the signal that arrived, 0 for none.
int pending_signal();
void clear_signal();
/// Tests and the prompt: as if the signal had arrived.
void raise_pending(int signal);

}  // namespace vek
