#include "host/run/interrupts.h"

#include <cstddef>
#include <iterator>

namespace kelvo::host {
namespace {

// A signal handler can reach nothing else.
volatile sig_atomic_t signalsReceived = 0;

void countSignal(int /*signal*/) { signalsReceived = signalsReceived + 1; }

}  // namespace

Interrupts::Interrupts() {
  signalsReceived = 0;
  sigset_t blocked;
  sigemptyset(&blocked);
  for (const int signal : kSignals) {
    sigaddset(&blocked, signal);
  }
  sigprocmask(SIG_BLOCK, &blocked, &oldMask_);
  waitMask_ = oldMask_;
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigdelset(&waitMask_, kSignals[i]);
    struct sigaction action {};
    action.sa_handler = countSignal;
    sigemptyset(&action.sa_mask);
    sigaction(kSignals[i], nullptr, &oldActions_[i]);
    if (oldActions_[i].sa_handler != SIG_IGN) {
      sigaction(kSignals[i], &action, nullptr);
    }
  }
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &ignore, &oldPipe_);
  sigaction(SIGXFSZ, &ignore, &oldSize_);
}

Interrupts::~Interrupts() {
  for (std::size_t i = 0; i < std::size(kSignals); ++i) {
    sigaction(kSignals[i], &oldActions_[i], nullptr);
  }
  sigaction(SIGXFSZ, &oldSize_, nullptr);
  sigaction(SIGPIPE, &oldPipe_, nullptr);
  sigprocmask(SIG_SETMASK, &oldMask_, nullptr);
}

int Interrupts::count() const { return signalsReceived; }

}  // namespace kelvo::host
