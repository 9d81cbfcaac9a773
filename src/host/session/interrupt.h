// Signals: noticed by a handler, acted on where the program polls.
#pragma once

namespace vek {

void install_signal_handlers();
/// Number of the signal that arrived, 0 for none.
int pending_signal();
void clear_signal();
/// Tests and the prompt: as if the signal had arrived.
void raise_pending(int signal);

}  // namespace vek
