// Cancelled jobs: CUPS ends a filter with SIGTERM. The job is then brought to an orderly end
// before the process ends by that signal.
#pragma once

namespace jobshaper {

// From here on SIGTERM only sets a flag; a second one ends the process at once. A SIGTERM that
// the process was started to ignore stays ignored.
void deferCancellation();

// Whether SIGTERM has come.
bool cancellationRequested();

// Waits until the descriptor can be read without blocking. False as soon as SIGTERM has come,
// even if it came just before the call.
bool waitForInput(int descriptor);

// Ends the process by the signal that has been deferred.
[[noreturn]] void endByCancellation();

}  // namespace jobshaper
