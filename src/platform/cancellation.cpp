#include "platform/cancellation.h"

#include <signal.h>
#include <sys/select.h>
#include <unistd.h>

#include <cerrno>

namespace jobshaper {

namespace {

volatile sig_atomic_t requested = 0;
bool deferred = false;

extern "C" void noteCancellation(int) { requested = 1; }

}  // namespace

void deferCancellation() {
  struct sigaction action {};
  if (sigaction(SIGTERM, nullptr, &action) == 0 && action.sa_handler == SIG_IGN) return;
  action = {};
  action.sa_handler = noteCancellation;
  action.sa_flags = static_cast<int>(SA_RESETHAND);  // and no SA_RESTART: a blocked call returns
  sigemptyset(&action.sa_mask);
  deferred = sigaction(SIGTERM, &action, nullptr) == 0;
}

void stopDeferringCancellation() {
  if (deferred) signal(SIGTERM, SIG_DFL);
  if (requested) endByCancellation();
}

bool cancellationRequested() { return requested != 0; }

bool waitForInput(int descriptor) {
  if (descriptor >= FD_SETSIZE) return !requested;  // too large for pselect: the read itself waits
  // Unblock the signal only inside pselect, so that it cannot arrive between the test and the wait.
  sigset_t termination, before;
  sigemptyset(&termination);
  sigaddset(&termination, SIGTERM);
  sigprocmask(SIG_BLOCK, &termination, &before);
  fd_set input;
  FD_ZERO(&input);
  FD_SET(descriptor, &input);
  while (!requested && pselect(descriptor + 1, &input, nullptr, nullptr, nullptr, &before) < 0 &&
         errno == EINTR) {
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return !requested;
}

void endByCancellation() {
  signal(SIGTERM, SIG_DFL);
  raise(SIGTERM);
  _exit(1);  // not reached unless the signal is blocked
}

}  // namespace jobshaper
