#include "scene/BoneLookup.h"

namespace rw {
void BoneLookup::Build(msModel*) {}
msBone* BoneLookup::Find(const std::string&) const { return nullptr; }
}  // namespace rw
