// Bones by name, and bone paths. The model's bones do not change during a run (only their
// keys do), so one index built at the start of the scan serves every later lookup.
#ifndef REELWRIGHT_SCENE_BONELOOKUP_H
#define REELWRIGHT_SCENE_BONELOOKUP_H

#include <string>
#include <unordered_map>

#include "host/msLib.h"

namespace rw {

class BoneLookup {
 public:
  // Indexes every bone of model by its name as the host reads it; the first in model order wins.
  void Build(msModel* model);
  // The first bone of exactly that name (byte for byte, case-sensitive), or null.
  msBone* Find(const std::string& name) const;

 private:
  std::unordered_map<std::string, msBone*> byName_;
};

// "Root", the bone's ancestors from the top down, and its own name, joined by "|". A parent
// name that no bone bears ends the climb but stands in the path; a null bone gives "Root|".
// A chain of parent names that comes back to a bone already on it ends the climb before the
// repeat, so each bone stands in the path once, and *looped (when given) is set. Any length.
std::string BuildBonePath(const BoneLookup& lookup, msBone* bone, bool* looped = nullptr);

}  // namespace rw

#endif
