#ifndef LOG_PRUNING_H_
#define LOG_PRUNING_H_

#include <cstddef>
#include <set>
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

// Chooses which candidates go: the oldest, while more are there than may stay. A copy's time is in
// its name, so candidates are compared by their bytes. Somebody may have made any number of them.
// Only those that decide are held: the newest, which stay, and the oldest of those that go.
class CandidateChoice {
 public:
  // So many of those that go are held, in order to go by age.
  static constexpr std::size_t kMostByAge = 64;

  enum class Fate {
    kStays,
    kGoesByAge,  // is one of `OldestVictims`
    kGoes,       // is younger than those
  };

  // `kept` candidates stay. The live file counts among them and never goes.
  CandidateChoice(const PruneScope& scope, std::size_t kept)
      : liveLeaf_(scope.liveLeaf), kept_(kept) {}

  void Add(const std::string& candidate);

  // The answers are final once every candidate was added.
  [[nodiscard]] const std::set<std::string>& OldestVictims() const { return oldest_; }
  [[nodiscard]] bool HasYoungerVictims() const { return hasYounger_; }
  [[nodiscard]] Fate Judge(const std::string& candidate) const;

 private:
  void AddVictim(std::string candidate);

  std::string liveLeaf_;
  std::size_t kept_;
  bool isLiveFileThere_ = false;
  std::set<std::string> newest_;
  std::set<std::string> oldest_;
  bool hasYounger_ = false;
};

// Removes the copies that are older than `days` days (today counts as one), and of the rest all but
// the newest `days`. Not only copies: every file, link and empty directory whose name begins with
// the stem of the log file counts, also in subdirectories whose names begin so. Works from
// directory to directory by handle, follows no link and enters no mount point. What cannot be
// removed stays, and so does what has a path that is too long for a system call. Ends after two
// seconds; the next pruning goes on. Always false, which nobody asks.
//
// Other users may write beside the log: time grows with the number of entries whose names begin so,
// memory with the number of directories among them.
bool PruneOldLogs(const std::string& filePath, int days);

}  // namespace dunmar

#endif  // LOG_PRUNING_H_
