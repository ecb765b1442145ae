// Writes the example scene: make_example [OUT] (default: fleet.ms3d in the current folder).
#include <cstdio>

#include "examples/FleetScene.h"

int main(int argc, char** argv) {
  const char* path = argc > 1 ? argv[1] : "fleet.ms3d";
  if (!rw::WriteMs3dFile(rw::FleetScene(), path)) {
    std::fprintf(stderr, "make_example: cannot write %s\n", path);
    return 1;
  }
  std::printf("wrote %s\n", path);
  return 0;
}
