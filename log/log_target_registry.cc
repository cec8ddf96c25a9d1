#include "log/log_target_registry.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <string_view>
#include <vector>

#include "log/api/level.h"
#include "log/log_target_base.h"
#include "log/log_target_registry_for_testing.h"

namespace dunmar {

LogTargetRegistry& LogTargetRegistry::Instance() {
  static LogTargetRegistry registry;
  return registry;
}

bool LogTargetRegistry::Register(LogTargetBase* target) {
  if (target == nullptr || !target->Open()) return false;
  const auto entry = targets_.find(target->GetName());
  if (entry == targets_.end()) {
    // As a whole: where memory runs out no name may stay behind without a target.
    targets_.emplace(target->GetName(), std::vector<LogTargetBase*>{target});
  } else {
    std::vector<LogTargetBase*>& listed = entry->second;
    if (std::find(listed.begin(), listed.end(), target) != listed.end()) return true;
    listed.push_back(target);
  }
  target->AddReference();
  return true;
}

bool LogTargetRegistry::Unregister(LogTargetBase* target) {
  if (target == nullptr) return false;
  const auto entry = targets_.find(target->GetName());
  if (entry == targets_.end()) return true;
  std::vector<LogTargetBase*>& listed = entry->second;
  const auto place = std::find(listed.begin(), listed.end(), target);
  if (place == listed.end()) return false;
  target->RemoveReference();
  const bool result = target->GetReferenceCount() != 0 || target->Close();
  listed.erase(place);
  if (listed.empty()) targets_.erase(entry);
  return result;
}

void LogTargetRegistry::Dispatch(const char* targetName, LogLevel level, const char* text1,
                                 const char* text2, const char* text3, const char* text4,
                                 const char* text5, const char* text6, const char* format,
                                 va_list arguments, std::int64_t timeMs) {
  if (targetName == nullptr) return;
  const auto entry = targets_.find(std::string_view(targetName));
  if (entry == targets_.end()) return;
  for (LogTargetBase* const target : entry->second) {
    va_list copy;
    va_copy(copy, arguments);
    (void)target->Write(level, text1, text2, text3, text4, text5, text6, format, &copy, timeMs,
                        /*useLock=*/true);
    va_end(copy);
  }
}

bool IsEmptyForTesting(const LogTargetRegistry& registry) { return registry.targets_.empty(); }

}  // namespace dunmar
