#include <cstdio>
#include <fstream>
#include <string>

#include "log/log_setup.h"
#include "log/log_target_default.h"
#include "log/log_target_registry.h"
#include "log/logger.h"

// Usage: logging_stranger <folder>
// Writes a record to a log in the folder and prints what the log holds.
int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const std::string folder = argv[1];

  dunmar::LogTargetDefault target("Stranger");
  dunmar::LogTargetRegistry& registry = dunmar::LogTargetRegistry::Instance();
  if (!dunmar::SetLogFile(target, "stranger.log", folder.c_str()) || !registry.Register(&target)) {
    return 1;
  }
  dunmar::Logger logger("Stranger");
  logger.Warn("fifth", "hello %s", "world");
  if (!registry.Unregister(&target)) return 1;

  std::ifstream log(folder + "/stranger.log");
  for (std::string line; std::getline(log, line);) std::puts(line.c_str());
  return 0;
}
