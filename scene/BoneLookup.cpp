#include "scene/BoneLookup.h"

#include <algorithm>
#include <string>
#include <unordered_set>
#include <vector>

#include "scene/HostText.h"
#include "scene/Naming.h"

namespace rw {
namespace {

// Chains up to this depth are checked for loops by a linear look at the bones seen so far;
// deeper ones switch to a hash set, so a long chain costs linear time, not quadratic.
constexpr size_t kShortChain = 32;

// The bones already on one climb.
class VisitedBones {
 public:
  // False when bone was visited before.
  bool Insert(msBone* bone) {
    if (!large_.empty()) return large_.insert(bone).second;
    if (std::find(small_.begin(), small_.end(), bone) != small_.end()) return false;
    small_.push_back(bone);
    if (small_.size() > kShortChain) large_.insert(small_.begin(), small_.end());
    return true;
  }

 private:
  std::vector<msBone*> small_;
  std::unordered_set<msBone*> large_;
};

}  // namespace

void BoneLookup::Build(msModel* model) {
  byName_.clear();
  const int count = msModel_GetBoneCount(model);
  byName_.reserve(static_cast<size_t>(count > 0 ? count : 0));
  for (int i = 0; i < count; ++i) {
    msBone* bone = msModel_GetBoneAt(model, i);
    byName_.emplace(ReadBoneName(bone), bone);  // keeps the first bone of a name
  }
}

msBone* BoneLookup::Find(const std::string& name) const {
  const auto it = byName_.find(name);
  return it == byName_.end() ? nullptr : it->second;
}

std::string BuildBonePath(const BoneLookup& lookup, msBone* bone, bool* looped) {
  if (looped) *looped = false;
  // The names from the bone up to its topmost ancestor.
  std::vector<std::string> names{ReadBoneName(bone)};
  VisitedBones visited;
  visited.Insert(bone);
  for (msBone* current = bone;;) {
    std::string parentName = ReadParentName(current);
    if (parentName.empty()) break;
    msBone* parent = lookup.Find(parentName);
    if (parent && !visited.Insert(parent)) {
      // The chain comes back to a bone already on it: the path ends below the repeat.
      if (looped) *looped = true;
      break;
    }
    names.push_back(std::move(parentName));
    if (!parent) break;  // a name no bone bears stands in the path and ends the climb
    current = parent;
  }

  size_t length = std::char_traits<char>::length(kPathRoot);
  for (const std::string& name : names) length += name.size() + 1;
  std::string path;
  path.reserve(length);
  path = kPathRoot;
  for (auto it = names.rbegin(); it != names.rend(); ++it) {
    path += kPathSeparator;
    path += *it;
  }
  return path;
}

}  // namespace rw
