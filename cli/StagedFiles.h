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
  // closed. Without replace, a file that appeared at a place since it was checked is not
  // replaced: the files placed so far are taken back, the rest removed, and problemPath and
  // problem say where and why.
  bool Place(bool replace, std::string& problemPath, std::string& problem);
  // Removes the staged files that were not placed.
  void Discard();
  // Where the file to be placed at finalPath is staged; empty when none is.
  std::string TemporaryPathOf(const std::string& finalPath) const;

 private:
  struct Staged {
    std::string temporary, final;
    std::unique_ptr<RemovedOnInterrupt> guard;
  };
  std::vector<Staged> staged_;
};

// Writes bytes to a staged file and places it at path: a failed write leaves an old file as it
// was, and no file replaces one that appeared meanwhile unless `replace`. False with `problem`.
bool WriteFileStaged(const std::string& path, const std::string& bytes, bool replace, std::string& problem);

}  // namespace rw

#endif
