// How a step is left from any depth: the host's one private exception, caught at the step's boundary.
#pragma once

namespace vek {

/// Thrown by xexit and xebug; nothing else of the host throws it, and only the session catches it.
struct Leave {
    int code = 0;
    int trace = 0;
};

/// Thrown by wtpoll at the prompt, where an interrupt stops what runs and leaves the model in place.
struct Interrupted {};

/// The code with which xebug leaves: a fault of the program itself.
constexpr int leave_internal_fault = -999;
/// The code with which wtpoll leaves after a signal.
constexpr int leave_interrupted = -998;

}  // namespace vek
