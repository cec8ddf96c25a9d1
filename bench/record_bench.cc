// What a log record costs. The figure to look at is the ratio of "RecordAgainstBareCalls": a record
// on its whole way from the front end to the file, against the system calls that it cannot do
// without. Nothing outside a temporary folder is touched.

#include <algorithm>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <unistd.h>
#include <vector>

#include "bench/temporary_directory.h"
#include "log/api/level.h"
#include "log/credential_masking.h"
#include "log/log_setup.h"
#include "log/log_target_default.h"
#include "log/log_target_registry.h"
#include "log/logger.h"
#include "log/record_format.h"
#include "platform/console_user.h"
#include "platform/directory_lookup.h"
#include "platform/host_for_testing.h"
#include "platform/unique_fd.h"

namespace {

constexpr const char* kName = "Bench";
// With its argument a message of 100 bytes.
constexpr const char* kFormat = "Inside CreateZintShortcut | Directory already present at path %s";
constexpr const char* kArgument = "/Applications/Velmora Caldris/Ixer4242";

class NobodyAtConsole final : public platform::ConsoleUserSource {
 public:
  [[nodiscard]] bool GetConsoleUser(platform::ConsoleUser* /*user*/) override { return false; }
};

// Every folder of the machine and every home is one and the same folder.
class OneFolder final : public platform::DirectoryLookup {
 public:
  explicit OneFolder(const std::string& path) : path_(path) {}
  [[nodiscard]] bool FindDirectory(unsigned long /*domainMask*/, unsigned long /*directory*/,
                                   std::string* path) override {
    *path = path_;
    return true;
  }
  [[nodiscard]] std::optional<std::string> HomeDirectory() override { return path_; }
  [[nodiscard]] bool HomeDirectoryForUser(const std::string& /*name*/, std::string* path) override {
    *path = path_;
    return true;
  }

 private:
  const std::string& path_;
};

// A machine in a temporary folder with a log on it: front end, registry, file target.
class Log {
 public:
  Log() {
    host_->console = &console_;
    host_->directories = &directories_;
    target_.emplace(kName);
    if (!dunmar::SetLogFile(*target_, "Bench.log", folder_.Path().c_str()) ||
        !dunmar::LogTargetRegistry::Instance().Register(&*target_)) {
      bench::Fail("the log cannot be opened");
    }
    frontEnd_.SetFieldText2(kName);
  }
  ~Log() { (void)dunmar::LogTargetRegistry::Instance().Unregister(&*target_); }
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;

  [[nodiscard]] dunmar::Logger& FrontEnd() { return frontEnd_; }
  [[nodiscard]] std::string At(const std::string& name) const {
    return folder_.Path() + "/" + name;
  }

 private:
  bench::TemporaryDirectory folder_;
  NobodyAtConsole console_;
  OneFolder directories_{folder_.Path()};
  platform::ScopedHost host_;
  std::optional<dunmar::LogTargetDefault> target_;
  dunmar::Logger frontEnd_{kName};
};

// A semaphore set as the log's lock has one: two semaphores, the second of which is the lock.
class SemaphoreSet {
 public:
  SemaphoreSet() : id_(semget(IPC_PRIVATE, 2, 0600)) {
    if (id_ == -1) bench::Fail("semget");
    Add(+1, 0);
  }
  ~SemaphoreSet() { (void)semctl(id_, 0, IPC_RMID); }
  SemaphoreSet(const SemaphoreSet&) = delete;
  SemaphoreSet& operator=(const SemaphoreSet&) = delete;

  void Add(short amount, short flags) const {
    sembuf operation = {.sem_num = 1, .sem_op = amount, .sem_flg = flags};
    if (semop(id_, &operation, 1) != 0) bench::Fail("semop");
  }

 private:
  int id_;
};

template <typename Deed>
double NanosecondsOf(const Deed& deed, int times) {
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < times; ++i) deed();
  const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
  return taken.count() / times;
}

double Median(std::vector<double> values) {
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

void Empty(const std::string& path) {
  if (truncate(path.c_str(), 0) != 0) bench::Fail("truncate");
}

// Both in turn, block by block, so that whatever else the machine does meets both; the ratio is the
// median of the blocks' ratios.
void RecordAgainstBareCalls(benchmark::State& state) {
  constexpr int kTimes = 64;
  Log log;
  const auto writeRecord = [&log] { log.FrontEnd().Info(kFormat, kArgument); };

  writeRecord();
  std::string line;
  if (!std::getline(std::ifstream(log.At("Bench.log")), line)) bench::Fail("no record was written");
  line += '\n';
  const platform::UniqueFd file(
      open(log.At("bare.log").c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666));
  if (!file) bench::Fail("open");
  const SemaphoreSet semaphores;
  const auto writeBare = [&] {
    semaphores.Add(-1, SEM_UNDO);
    if (write(file.Get(), line.data(), line.size()) != static_cast<ssize_t>(line.size())) {
      bench::Fail("write");
    }
    semaphores.Add(+1, SEM_UNDO);
  };

  std::vector<double> records;
  std::vector<double> bares;
  std::vector<double> ratios;
  for (auto _ : state) {
    Empty(log.At("Bench.log"));
    Empty(log.At("bare.log"));
    double record = 0;
    double bare = 0;
    if (ratios.size() % 2 == 0) {
      record = NanosecondsOf(writeRecord, kTimes);
      bare = NanosecondsOf(writeBare, kTimes);
    } else {
      bare = NanosecondsOf(writeBare, kTimes);
      record = NanosecondsOf(writeRecord, kTimes);
    }
    records.push_back(record);
    bares.push_back(bare);
    ratios.push_back(record / bare);
    state.SetIterationTime(record * 1e-9);
  }
  if (std::filesystem::file_size(log.At("Bench.log")) != kTimes * line.size()) {
    bench::Fail("records were lost");
  }

  char label[128];
  std::snprintf(label, sizeof label, "ratio %.3f: a record %.0f ns, bare calls %.0f ns (medians)",
                Median(ratios), Median(records), Median(bares));
  state.SetLabel(label);
}
BENCHMARK(RecordAgainstBareCalls)->UseManualTime()->Iterations(4000);

void RecordBelowThreshold(benchmark::State& state) {
  Log log;
  for (auto _ : state) log.FrontEnd().Debug(kFormat, kArgument);
}
BENCHMARK(RecordBelowThreshold);

void FormatRecordAlone(benchmark::State& state) {
  const std::string separator = " | ";
  std::vector<std::string> maskedKeys;
  dunmar::InitMaskedKeys(maskedKeys);
  std::int64_t lastRecordTime = 0;
  dunmar::TimestampCache timestampCache;
  const dunmar::RecordContext context = {.separator = separator,
                                         .logThreadId = true,
                                         .maskedKeys = maskedKeys,
                                         .lastRecordTime = lastRecordTime,
                                         .timestampCache = timestampCache};
  char message[dunmar::kMessageBufferBytes];
  std::snprintf(message, sizeof message, kFormat, kArgument);
  std::string line;
  for (auto _ : state) {
    line.clear();
    dunmar::FormatRecord(context, 0, dunmar::kInfo, {"", kName, "", "", "", ""}, message, line);
    benchmark::DoNotOptimize(line.data());
  }
}
BENCHMARK(FormatRecordAlone);

}  // namespace
