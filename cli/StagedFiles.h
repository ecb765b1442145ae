// Output files written beside their places under temporary names and put in place together
// when the run has succeeded, so that a failed run leaves every old file as it was. An
// interrupted run (see cli/Interrupts.h) removes the temporary files before it ends.
#ifndef REELWRIGHT_CLI_STAGEDFILES_H
#define REELWRIGHT_CLI_STAGEDFILES_H

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cli/Interrupts.h"

namespace rw {

// Why a device, FIFO or folder at an output's place is never replaced, even with --force.
constexpr const char* kNeverReplaced = "is not a regular file; --force replaces only files and links";

// The lock file that Place holds while it places a group whose first file goes to path:
// ".reelwright-XXXXXXXX.lock" beside it, XXXXXXXX a hash of the file's name. Held with flock on
// POSIX systems (so a script can take it too), opened unshared on Windows.
std::string PlacingLockPath(const std::string& path);

class StagedFiles {
 public:
  StagedFiles() = default;
  ~StagedFiles();  // removes whatever was not placed
  StagedFiles(const StagedFiles&) = delete;
  StagedFiles& operator=(const StagedFiles&) = delete;

  // Creates a new file in finalPath's folder under a name no other file has, opened with mode
  // ("wb" or "wt"), to be placed at finalPath. Null, with errno set, when it cannot.
  std::FILE* Open(const std::string& finalPath, const char* mode);
  // Puts every staged file in place, in the order they were opened; each must have been
  // closed. All or nothing: when one cannot be placed (without replace, a file appeared there
  // since it was checked; with it, a folder, device or FIFO is there), the files placed so far
  // are taken back and the files they replaced put back as they were, the rest are removed,
  // and problemPath and problem say where and why. Two runs placing the same first file place
  // their files one after the other (a lock file beside it is held meanwhile).
  bool Place(bool replace, std::string& problemPath, std::string& problem);
  // Removes the staged files that were not placed.
  void Discard();

 private:
  struct Staged {
    std::string temporary, final;
    std::unique_ptr<RemovedOnInterrupt> guard;
  };
  // Puts one file in place; with replace, what was there is first moved aside (aside names
  // where). False with problem, and nothing changed, when it cannot.
  static bool PlaceOne(const Staged& file, bool replace, std::string& aside, std::string& problem);
  std::vector<Staged> staged_;
};

}  // namespace rw

#endif
