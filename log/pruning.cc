#include "log/pruning.h"

#include <algorithm>
#include <utility>

#include "fileutils/foundation_paths.h"
#include "fileutils/paths.h"
#include "log/local_time.h"
#include "platform/entry_removal.h"
#include "platform/folder_listing.h"
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

std::vector<std::string> ChooseVictims(const PruneScope& scope, std::vector<std::string> candidates,
                                       std::size_t kept) {
  const std::size_t excess = candidates.size() - std::min(candidates.size(), kept);
  // A copy's time is in its name.
  std::sort(candidates.begin(), candidates.end());
  std::erase(candidates, scope.liveLeaf);
  candidates.resize(std::min(candidates.size(), excess));
  return candidates;
}

bool PruneOldLogs(const std::string& filePath, int days) {
  const auto keptDays = static_cast<std::size_t>(std::max(days, 0));
  std::vector<std::string> dates;
  dates.reserve(keptDays);
  for (int i = 0; i < days; ++i) dates.push_back(GetDateText(-i));
  const PruneScope scope = MakePruneScope(filePath, dates);
  platform::UniqueFd folder;
  if (platform::OpenFolder(scope.folder, &folder) != 0) return false;

  std::vector<std::string> candidates;
  platform::WalkFolder(scope.folder, [&](const platform::WalkEntry& entry) {
    const PruneVerdict verdict = JudgeEntry(scope, entry.path);
    if (verdict == PruneVerdict::kCandidate) candidates.push_back(entry.path);
    if (verdict == PruneVerdict::kRemove) (void)platform::RemoveEntry(folder.Get(), entry.path);
    // Nothing below any other folder can have a name that begins with the stem.
    return verdict != PruneVerdict::kIgnore;
  });
  const std::vector<std::string> victims =
      ChooseVictims(scope, std::move(candidates), keptDays + 1);
  for (const std::string& victim : victims) {
    (void)platform::RemoveEntry(folder.Get(), victim);
  }
  return false;
}

}  // namespace dunmar
