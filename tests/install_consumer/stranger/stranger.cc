#include <cstdio>
#include <string>

#include "cmdline/command_line_parser.h"
#include "fileutils/items.h"
#include "fileutils/paths.h"
#include "log/api/level.h"

int main(int argc, char** argv) {
  cmdline::CommandLineParser parser;
  std::string path = "/a";
  std::string greeting;
  if (!parser.Parse(argc, argv) || !parser.GetValue("greeting", greeting) ||
      !fileutils::AppendPathComponent(path, "b") || !fileutils::PathExists("/")) {
    return 1;
  }
  std::printf("%s %s %s\n", path.c_str(), greeting.c_str(), dunmar::GetLevelName(dunmar::kInfo));
  return 0;
}
