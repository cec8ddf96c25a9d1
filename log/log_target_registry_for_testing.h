#ifndef LOG_LOG_TARGET_REGISTRY_FOR_TESTING_H_
#define LOG_LOG_TARGET_REGISTRY_FOR_TESTING_H_

#include "log/log_target_registry.h"

namespace dunmar {

// Nothing is listed under any name.
[[nodiscard]] bool IsEmptyForTesting(const LogTargetRegistry& registry);

}  // namespace dunmar

#endif  // LOG_LOG_TARGET_REGISTRY_FOR_TESTING_H_
