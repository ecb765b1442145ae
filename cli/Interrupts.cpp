#include "cli/Interrupts.h"

#include <atomic>
#include <csignal>
#include <cstring>

#if defined(_WIN32)
#include <windows.h>
#else
#include <unistd.h>
#endif

namespace rw {
namespace {

// A run guards its outputs, their log and a lock: a few paths. Each place holds a path the
// handler may remove; the handler and the guard's owner both take a path out with an exchange,
// so exactly one of them has it (on Windows the handler runs on a thread of its own).
constexpr int kGuardPlaces = 32;
std::atomic<char*> gGuarded[kGuardPlaces];
std::atomic<int> gDeferrals{0};
std::atomic<int> gPendingSignal{0};  // POSIX: a signal that came while interruptions waited

// Only async-signal-safe calls: unlink/DeleteFileA on each guarded path. A path taken here is
// never freed: the program is ending.
void RemoveGuardedFiles() {
  for (std::atomic<char*>& place : gGuarded) {
    if (char* path = place.exchange(nullptr)) {
#if defined(_WIN32)
      DeleteFileA(path);
#else
      ::unlink(path);
#endif
    }
  }
}

#if defined(_WIN32)

// Runs on a thread the system starts. Returning FALSE lets the next handler, the system's,
// end the process.
BOOL WINAPI OnConsoleEvent(DWORD event) {
  switch (event) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
    case CTRL_CLOSE_EVENT:
    case CTRL_LOGOFF_EVENT:
    case CTRL_SHUTDOWN_EVENT:
      while (gDeferrals.load() > 0) Sleep(1);  // a group of moves finishes first
      RemoveGuardedFiles();
      break;
    default:
      break;
  }
  return FALSE;
}

#else

constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

// Ends the program as the signal would have without a handler, so the shell sees it.
[[noreturn]] void EndBySignal(int signal) {
  RemoveGuardedFiles();
  std::signal(signal, SIG_DFL);
  std::raise(signal);
  _exit(128 + signal);  // not reached: the signal's default action ends the program
}

void OnEndingSignal(int signal) {
  if (gDeferrals.load() > 0) {
    gPendingSignal.store(signal);
    return;
  }
  EndBySignal(signal);
}

#endif

}  // namespace

void InstallInterruptHandlers() {
#if defined(_WIN32)
  SetConsoleCtrlHandler(OnConsoleEvent, TRUE);
#else
  std::signal(SIGXFSZ, SIG_IGN);
  for (int signal : kEndingSignals) {
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = OnEndingSignal;
    sigemptyset(&action.sa_mask);
    for (int other : kEndingSignals) sigaddset(&action.sa_mask, other);
    // A signal the program was started to ignore (nohup) stays ignored.
    struct sigaction old;
    if (sigaction(signal, nullptr, &old) == 0 && old.sa_handler == SIG_IGN) continue;
    sigaction(signal, &action, nullptr);
  }
#endif
}

RemovedOnInterrupt::RemovedOnInterrupt(const std::string& path) {
  char* copy = new char[path.size() + 1];
  std::memcpy(copy, path.c_str(), path.size() + 1);
  for (int i = 0; i < kGuardPlaces; ++i) {
    char* expected = nullptr;
    if (gGuarded[i].compare_exchange_strong(expected, copy)) {
      slot_ = i;
      return;
    }
  }
  delete[] copy;
}

RemovedOnInterrupt::~RemovedOnInterrupt() {
  if (slot_ < 0) return;
  // Null: the handler took the path and the program is ending; it keeps the memory.
  delete[] gGuarded[slot_].exchange(nullptr);
}

InterruptionsDeferred::InterruptionsDeferred() { ++gDeferrals; }

InterruptionsDeferred::~InterruptionsDeferred() {
  if (--gDeferrals > 0) return;
#if !defined(_WIN32)
  if (const int signal = gPendingSignal.exchange(0)) EndBySignal(signal);
#endif
}

}  // namespace rw
