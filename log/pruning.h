#ifndef LOG_PRUNING_H_
#define LOG_PRUNING_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Which dated copies of a log file go, and their removal.

namespace dunmar {

// What is known of a log file and its copies. Entries are paths relative to `folder`, which the
// walk through it yields, those of its subfolders too.
struct PruneScope {
  std::string folder;
  std::string stemLeaf;  // the file's name without extension: every entry that begins so counts
  std::string liveLeaf;  // the file's own name: never removed
  std::vector<std::string> keptPrefixes;  // "Ixer 2026-11-16", one for each day that is kept
};

// The scope for a log file. `dates` are the days that are kept, as `GetDateText` writes them.
[[nodiscard]] PruneScope MakePruneScope(const std::string& filePath,
                                        const std::vector<std::string>& dates);

enum class PruneVerdict {
  kIgnore,     // none of ours
  kCandidate,  // may stay
  kRemove,     // too old
};
[[nodiscard]] PruneVerdict JudgeEntry(const PruneScope& scope, std::string_view entry);

// Of the candidates those that must go, oldest first, so that `kept` remain. The live file counts
// among those and is never one to go.
[[nodiscard]] std::vector<std::string> ChooseVictims(const PruneScope& scope,
                                                     std::vector<std::string> candidates,
                                                     std::size_t kept);

// Removes the copies that are older than `days` days (today counts as one), and of the rest all but
// the newest `days`. Not only copies: every file, link and empty folder whose name begins with the
// stem of the log file counts, also in subfolders whose names begin so. Works from folder to folder
// by handle, follows no link and enters no mount point. What cannot be removed stays. Always false,
// which nobody asks.
bool PruneOldLogs(const std::string& filePath, int days);

}  // namespace dunmar

#endif  // LOG_PRUNING_H_
