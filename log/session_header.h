#ifndef LOG_SESSION_HEADER_H_
#define LOG_SESSION_HEADER_H_

#include <cstdint>
#include <map>
#include <string>
#include <vector>

// The lines about machine and product at the top of a log file that a rotation has begun.

namespace dunmar {

struct HeaderBlock {
  std::string topLine;
  std::map<std::string, std::string> entries;  // a line each: key, then value
  std::string bottomLine;
  // Of a block that is handed to `LogTargetBase::WriteHeader`: it is merged into the stored one.
  bool mergeIntoStored = false;
};

// Fills a block with what is true now: "Ixer Version: " (absent where the desktop product is not
// installed), "OS Name: ", "OS Version: ", "OS Locale: ", "Bit: ", between two lines of asterisks.
// Numbers that the system does not tell are 0.
void PrepareSessionHeader(HeaderBlock& sessionHeader);

// The block that is to be written: the stored one for null, else the given one; with
// `mergeIntoStored` the stored one after the given one was merged into it, entry by entry, the
// given one's non-empty lines and its values winning.
[[nodiscard]] HeaderBlock ChooseHeader(HeaderBlock& stored, const HeaderBlock* block);

// Its lines in order: the top line, the entries by key, the bottom line; no empty top or bottom.
[[nodiscard]] std::vector<std::string> HeaderLines(const HeaderBlock& block);

// The operating system's version (platform/host_info.h). False, nothing stored, where the system
// does not tell.
bool QueryOSVersion(std::int64_t& major, std::int64_t& minor, std::int64_t& patch);

// 32 on a machine that `uname` calls "i386", 64 on any other. False, nothing stored, where it
// fails.
bool GetProcessorBits(int& bits);

}  // namespace dunmar

#endif  // LOG_SESSION_HEADER_H_
