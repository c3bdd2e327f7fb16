// Canceled jobs. CUPS cancels a filter with SIGTERM; the filter then finishes the job in good order
// before it ends by that signal. The state is global to the process, which must have one thread.
#pragma once

namespace jobshaper {

// From now on the first SIGTERM only sets a flag and interrupts a blocked call, and a second one
// kills the process. If the process was started with SIGTERM ignored, it stays ignored. Cannot
// fail.
void deferCancellation();

// Whether SIGTERM has arrived since deferCancellation().
bool cancellationRequested();

// From now on SIGTERM ends the process at once, as it would have before deferCancellation(). Does
// so if it has arrived in the meantime.
void stopDeferringCancellation();

// Waits until the descriptor, which is not owned, can be read without blocking, or has an error.
// Returns false as soon as SIGTERM has arrived, even if it arrived just before the call. Does not
// wait for a descriptor of FD_SETSIZE or more.
bool waitForInput(int descriptor);

// Restores the default action and raises SIGTERM, so that CUPS sees which signal ended the filter.
[[noreturn]] void endByCancellation();

}  // namespace jobshaper
