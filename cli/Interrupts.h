// What the program does when it is stopped from outside: the files it holds under temporary
// names are removed before it ends, so an interrupted run leaves the folder as it found it.
#ifndef REELWRIGHT_CLI_INTERRUPTS_H
#define REELWRIGHT_CLI_INTERRUPTS_H

#include <string>

namespace rw {

// Installs the handlers once, before any file is written: SIGINT, SIGTERM and SIGHUP (on
// Windows: Ctrl-C, Ctrl-Break, closing the console, logging off) remove every guarded file and
// then end the program as the signal would; a file-size limit (SIGXFSZ) no longer ends it, so
// the write that passes the limit fails with EFBIG and is reported like any failed write.
void InstallInterruptHandlers();

// Guards one path while it lives: an interruption removes the file at that path. Guard only
// files this run created; a guard that finds no free place guards nothing (a run holds a few).
class RemovedOnInterrupt {
 public:
  explicit RemovedOnInterrupt(const std::string& path);
  ~RemovedOnInterrupt();
  RemovedOnInterrupt(const RemovedOnInterrupt&) = delete;
  RemovedOnInterrupt& operator=(const RemovedOnInterrupt&) = delete;

 private:
  int slot_ = -1;
};

// While one lives, an interruption waits: a group of moves that puts files in place is finished
// before the program ends, never left half done. The interruption takes effect when the last
// one goes.
class InterruptionsDeferred {
 public:
  InterruptionsDeferred();
  ~InterruptionsDeferred();
  InterruptionsDeferred(const InterruptionsDeferred&) = delete;
  InterruptionsDeferred& operator=(const InterruptionsDeferred&) = delete;
};

}  // namespace rw

#endif
