// vekmain: from the host's call to a running step. Makes the blocks that every function reaches without parameters and
// hands over to the run-group driver.
#include "frame/vekmain.h"

#include "frame/host_message.h"
#include "frame/mainblock.h"
#include "frame/vek.h"

namespace vek {

namespace {

// The slot table of the running step. The module keeps no other state between calls.
MainBlock* main_slot = nullptr;
Proc* proc_slot = nullptr;

/// xinit: makes PROC and reads the words of the DEBUG host option that concern the statement loop.
void xinit() {
    proc_slot = object<Proc>(xmainpool());
    proc_slot->semtrace = xdebug("SEM");
    proc_slot->syntrace = xdebug("SYN");
}

}  // namespace

MainBlock& mainblock() { return *main_slot; }
Proc& proc() { return *proc_slot; }

void qexvek() {
    main_slot = nullptr;
    xinit();
    main_slot = object<MainBlock>(xmainpool());
    vek();
}

}  // namespace vek
