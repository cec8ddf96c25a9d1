#include "log/pruning.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <iterator>
#include <utility>

#include "fileutils/foundation_paths.h"
#include "fileutils/paths.h"
#include "log/local_time.h"
#include "platform/entry_removal.h"
#include "platform/folder_listing.h"
#include "platform/monotonic_time.h"
#include "platform/path_walk.h"
#include "platform/unique_fd.h"

namespace dunmar {

PruneScope MakePruneScope(const std::string& filePath, const std::vector<std::string>& dates) {
  std::string stem = filePath;
  (void)fileutils::RemovePathExtension(stem);
  const std::size_t slash = stem.rfind('/');
  PruneScope scope;
  scope.folder = stem.substr(0, slash);
  scope.stemLeaf = slash == std::string::npos ? stem : stem.substr(slash + 1);
  (void)fileutils::GetFileName(filePath, scope.liveLeaf);
  for (const std::string& date : dates) scope.keptPrefixes.push_back(scope.stemLeaf + " " + date);
  return scope;
}

PruneVerdict JudgeEntry(const PruneScope& scope, std::string_view entry) {
  if (!entry.starts_with(scope.stemLeaf)) return PruneVerdict::kIgnore;
  if (entry == scope.liveLeaf) return PruneVerdict::kCandidate;
  const bool isKept =
      std::any_of(scope.keptPrefixes.begin(), scope.keptPrefixes.end(),
                  [&](const std::string& prefix) { return entry.starts_with(prefix); });
  return isKept ? PruneVerdict::kCandidate : PruneVerdict::kRemove;
}

void CandidateChoice::Add(const std::string& candidate) {
  if (candidate == liveLeaf_) {
    isLiveFileThere_ = true;
  } else {
    newest_.insert(candidate);
  }
  const std::size_t room = kept_ - std::min<std::size_t>(kept_, isLiveFileThere_ ? 1 : 0);
  while (newest_.size() > room) AddVictim(std::move(newest_.extract(newest_.begin()).value()));
}

void CandidateChoice::AddVictim(std::string candidate) {
  oldest_.insert(std::move(candidate));
  if (oldest_.size() <= kMostByAge) return;
  oldest_.erase(std::prev(oldest_.end()));
  hasYounger_ = true;
}

CandidateChoice::Fate CandidateChoice::Judge(const std::string& candidate) const {
  if (candidate == liveLeaf_ || oldest_.empty()) return Fate::kStays;
  if (candidate <= *oldest_.rbegin()) return Fate::kGoesByAge;
  return newest_.empty() || candidate < *newest_.begin() ? Fate::kGoes : Fate::kStays;
}

namespace {

// No system call takes a longer path: such an entry could not be removed by its path, and such a
// directory could not be looked into.
bool HasUsablePath(const PruneScope& scope, const std::string& entry) {
  return scope.folder.size() + 1 + entry.size() < PATH_MAX;
}

// The time that one pruning may take. The lock is held meanwhile, and somebody can make entries
// beside the log without end.
class Budget {
 public:
  // Whether it is used up. Asks the clock at every 64th call.
  [[nodiscard]] bool IsUsedUp() {
    if (calls_++ % 64 == 0) isUsedUp_ = platform::MonotonicTime() >= end_;
    return isUsedUp_;
  }

 private:
  std::chrono::nanoseconds end_ = platform::MonotonicTime() + std::chrono::seconds(2);
  unsigned int calls_ = 0;
  bool isUsedUp_ = false;
};

// Removes what is too old as it comes by it. A directory is tried before what is in it, so one that
// is not empty stays, also if everything in it goes.
void RemoveTooOld(int folder, const PruneScope& scope, Budget* budget, CandidateChoice* choice) {
  platform::WalkFolder(folder, scope.folder, [&](const std::string& entry) {
    if (budget->IsUsedUp()) return platform::WalkStep::kStop;
    const PruneVerdict verdict = JudgeEntry(scope, entry);
    if (verdict == PruneVerdict::kCandidate) choice->Add(entry);
    // Nothing below any other directory can have a name that begins with the stem.
    if (verdict == PruneVerdict::kIgnore || !HasUsablePath(scope, entry)) {
      return platform::WalkStep::kPass;
    }
    return verdict == PruneVerdict::kRemove ? platform::WalkStep::kRemove
                                            : platform::WalkStep::kEnter;
  });
}

// A directory goes only if it is empty when its turn comes. By age that is before what is in it,
// and on a walk as well: both ways remove the same entries.
// Where the budget ended the search for candidates, more of them would only have made more victims.
void RemoveVictims(int folder, const PruneScope& scope, const CandidateChoice& choice,
                   Budget* budget) {
  for (const std::string& victim : choice.OldestVictims()) {
    if (HasUsablePath(scope, victim)) (void)platform::RemoveEntry(folder, victim);
  }
  if (!choice.HasYoungerVictims()) return;
  platform::WalkFolder(folder, scope.folder, [&](const std::string& entry) {
    if (budget->IsUsedUp()) return platform::WalkStep::kStop;
    if (JudgeEntry(scope, entry) != PruneVerdict::kCandidate || !HasUsablePath(scope, entry)) {
      return platform::WalkStep::kPass;
    }
    switch (choice.Judge(entry)) {
      case CandidateChoice::Fate::kGoes:
        return platform::WalkStep::kRemove;
      case CandidateChoice::Fate::kGoesByAge:
        return platform::WalkStep::kEnter;
      // And with a directory all that is in it, which is younger.
      case CandidateChoice::Fate::kStays:
        break;
    }
    return platform::WalkStep::kPass;
  });
}

}  // namespace

bool PruneOldLogs(const std::string& filePath, int days) {
  const auto keptDays = static_cast<std::size_t>(std::max(days, 0));
  std::vector<std::string> dates;
  dates.reserve(keptDays);
  for (int i = 0; i < days; ++i) dates.push_back(GetDateText(-i));
  const PruneScope scope = MakePruneScope(filePath, dates);
  platform::UniqueFd folder;
  if (platform::OpenFolder(scope.folder, &folder) != 0) return false;

  Budget budget;
  CandidateChoice choice(scope, keptDays + 1);
  RemoveTooOld(folder.Get(), scope, &budget, &choice);
  RemoveVictims(folder.Get(), scope, choice, &budget);
  return false;
}

}  // namespace dunmar
