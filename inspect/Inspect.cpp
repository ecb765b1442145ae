#include "inspect/Inspect.h"

#include <ostream>

namespace rw {
int DumpCommand(const std::vector<std::string>&, std::ostream&, std::ostream& err) {
  err << "reelwright: dump is not built yet\n";
  return 2;
}
int CheckCommand(const std::vector<std::string>&, std::ostream&, std::ostream& err) {
  err << "reelwright: check is not built yet\n";
  return 2;
}
}  // namespace rw
