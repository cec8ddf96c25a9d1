#ifndef TESTS_SUPPORT_SCOPED_TIME_ZONE_H_
#define TESTS_SUPPORT_SCOPED_TIME_ZONE_H_

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>

namespace test {

// Central Europe since 1996, an hour ahead of UTC, two from the last Sunday in March to the last
// in October. Needs no zone file.
inline constexpr char kCentralEurope[] = "CET-1CEST,M3.5.0,M10.5.0/3";

// Sets the time zone (TZ and `tzset`) for a scope.
class ScopedTimeZone {
 public:
  explicit ScopedTimeZone(const char* zone) {
    if (const char* const previous = std::getenv("TZ"); previous != nullptr) previous_ = previous;
    ::setenv("TZ", zone, 1);
    ::tzset();
  }
  ~ScopedTimeZone() {
    if (previous_) {
      ::setenv("TZ", previous_->c_str(), 1);
    } else {
      ::unsetenv("TZ");
    }
    ::tzset();
  }
  ScopedTimeZone(const ScopedTimeZone&) = delete;
  ScopedTimeZone& operator=(const ScopedTimeZone&) = delete;

 private:
  std::optional<std::string> previous_;
};

}  // namespace test

#endif  // TESTS_SUPPORT_SCOPED_TIME_ZONE_H_
