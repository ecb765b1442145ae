#include <iostream>
#include <string>
#include <vector>

#include "cli/Cli.h"
#include "cli/Interrupts.h"

int main(int argc, char** argv) {
  rw::InstallInterruptHandlers();
  std::vector<std::string> args(argv + 1, argv + argc);
  return rw::RunCli(args, std::cout, std::cerr);
}
