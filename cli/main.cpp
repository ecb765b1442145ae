#include <iostream>
#include <string>
#include <vector>

#include "cli/Cli.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  return rw::RunCli(args, std::cout, std::cerr);
}
