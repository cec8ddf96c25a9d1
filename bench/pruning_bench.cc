// What pruning costs in a directory that somebody filled in order to make it cost much: any user
// may write beside the log, and the log's lock is held meanwhile. "old" names are removed at once,
// "new" ones where there are too many. Pruning may take 2 seconds and 64 MiB. The figure to look at
// is the ratio to the removal of an equal tree, which has to go through all of it too. Each is done
// in a process of its own, and the peak is the resident size of the first. Nothing outside a
// temporary directory is touched.

#include <array>
#include <benchmark/benchmark.h>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include "bench/temporary_directory.h"
#include "log/local_time.h"
#include "log/pruning.h"
#include "platform/item_removal.h"
#include "platform/unique_fd.h"

namespace {

constexpr int kDays = 4;

// Something below the directory of the log.
class Place {
 public:
  explicit Place(const std::string& path)
      : directory_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    if (!directory_) bench::Fail("open");
  }

  void MakeFiles(const std::string& prefix, int count) const {
    for (int i = 0; i < count; ++i) {
      const std::string name = prefix + std::to_string(i);
      const platform::UniqueFd file(
          openat(directory_.Get(), name.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644));
      if (!file) bench::Fail("openat");
    }
  }

  void Enter(const std::string& name) {
    if (mkdirat(directory_.Get(), name.c_str(), 0755) != 0) bench::Fail("mkdirat");
    directory_.Reset(openat(directory_.Get(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory_) bench::Fail("openat");
  }
  void Leave() {
    directory_.Reset(openat(directory_.Get(), "..", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory_) bench::Fail("openat");
  }

 private:
  platform::UniqueFd directory_;
};

struct Shape {
  int levels;         // of directories, one in the other
  int nameLength;     // of each
  int filesPerLevel;  // in each
  int filesBelow;     // in the last
};

void MakeTree(const std::string& directory, const std::string& top, const Shape& shape) {
  Place place(directory);
  const std::string name(static_cast<std::size_t>(shape.nameLength), 'd');
  for (int level = 0; level < shape.levels; ++level) {
    place.Enter(level == 0 ? top : name);
    place.MakeFiles("file", shape.filesPerLevel);
  }
  place.MakeFiles("file", shape.filesBelow);
}

struct Cost {
  double seconds = 0;
  double processorSeconds = 0;
  double peak = 0;  // in the unit of `getrusage`, which differs between systems
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
}

template <typename Deed>
Cost CostInAProcess(const Deed& deed) {
  std::array<int, 2> ends = {};
  if (pipe(ends.data()) != 0) bench::Fail("pipe");
  const platform::UniqueFd in(ends[0]);
  platform::UniqueFd out(ends[1]);
  const pid_t child = fork();
  if (child == -1) bench::Fail("fork");
  if (child == 0) {
    const auto start = std::chrono::steady_clock::now();
    deed();
    const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
    rusage usage = {};
    (void)getrusage(RUSAGE_SELF, &usage);
    const Cost cost = {taken.count(), Seconds(usage.ru_utime) + Seconds(usage.ru_stime),
                       static_cast<double>(usage.ru_maxrss)};
    std::_Exit(write(out.Get(), &cost, sizeof cost) == sizeof cost ? 0 : 1);
  }
  out.Reset();
  Cost cost;
  if (read(in.Get(), &cost, sizeof cost) != sizeof cost) bench::Fail("the process ended early");
  (void)waitpid(child, nullptr, 0);
  return cost;
}

double Mebibytes(double peak) {
  static const double unit = [] {
    constexpr std::size_t kMebibytes = 64;
    const auto touch = [](std::size_t bytes) {
      std::vector<char> memory(bytes, 'x');
      benchmark::DoNotOptimize(memory.data());
    };
    const Cost less = CostInAProcess([&] { touch(1); });
    const Cost more = CostInAProcess([&] { touch(kMebibytes << 20); });
    return (more.peak - less.peak) / kMebibytes;
  }();
  return peak / unit;
}

// `make` fills the directory of a log.
template <typename Make>
void Measure(benchmark::State& state, const Make& make) {
  char label[160] = "";
  for (auto _ : state) {
    const bench::TemporaryDirectory pruned;
    make(pruned.Path());
    const Cost cost = CostInAProcess(
        [&pruned] { (void)dunmar::PruneOldLogs(pruned.Path() + "/Bench.log", kDays); });
    const bench::TemporaryDirectory removed;
    make(removed.Path());
    const Cost bare =
        CostInAProcess([&removed] { (void)platform::RemoveItem(removed.Path(), nullptr); });
    state.SetIterationTime(cost.seconds);
    std::snprintf(
        label, sizeof label,
        "ratio %.3f: pruning %.1f ms (processor %.1f), removal %.1f ms (%.1f); peak %.1f MiB",
        cost.seconds / bare.seconds, cost.seconds * 1e3, cost.processorSeconds * 1e3,
        bare.seconds * 1e3, bare.processorSeconds * 1e3, Mebibytes(cost.peak));
  }
  state.SetLabel(label);
}

// Too old, and removed on the way.
std::string OldName() { return "Bench 2001-01-01 "; }
// Of a day that is kept, and removed only where there are too many.
std::string NewName() { return "Bench " + dunmar::GetDateText(0) + " "; }

void PruneTree(benchmark::State& state, const std::string& top, const Shape& shape) {
  Measure(state, [&](const std::string& directory) { MakeTree(directory, top, shape); });
}
void PruneFiles(benchmark::State& state, const std::string& prefix) {
  Measure(state, [&](const std::string& directory) {
    Place(directory).MakeFiles(prefix, static_cast<int>(state.range(0)));
  });
}
void PruneDirectories(benchmark::State& state, const std::string& top) {
  Measure(state, [&](const std::string& directory) {
    Place place(directory);
    place.Enter(top);
    for (int i = 0; i < state.range(0); ++i) {
      place.Enter("directory" + std::to_string(i));
      place.MakeFiles("file", 1);
      place.Leave();
    }
  });
}

#define PRUNING_BENCHMARK(...) \
  BENCHMARK_CAPTURE(__VA_ARGS__)->UseManualTime()->Iterations(1)->Unit(benchmark::kMillisecond)

PRUNING_BENCHMARK(PruneTree, nested_old, OldName(), Shape{4000, 1, 0, 0});
PRUNING_BENCHMARK(PruneTree, nested_new, NewName(), Shape{4000, 1, 0, 0});
PRUNING_BENCHMARK(PruneTree, nested_above_files_old, OldName(), Shape{4000, 1, 0, 4000});
PRUNING_BENCHMARK(PruneTree, nested_above_files_new, NewName(), Shape{4000, 1, 0, 4000});
PRUNING_BENCHMARK(PruneTree, long_names_old, OldName(), Shape{1000, 255, 4, 0});
PRUNING_BENCHMARK(PruneTree, long_names_new, NewName(), Shape{1000, 255, 4, 0});
// As deep as a path reaches, with files all the way.
PRUNING_BENCHMARK(PruneTree, short_names_old, OldName(), Shape{1950, 1, 50, 0});
PRUNING_BENCHMARK(PruneTree, short_names_new, NewName(), Shape{1950, 1, 50, 0});
PRUNING_BENCHMARK(PruneFiles, others, std::string("Other "))->Arg(10)->Arg(1000)->Arg(100000);
PRUNING_BENCHMARK(PruneFiles, old, OldName())->Arg(10)->Arg(1000)->Arg(100000);
PRUNING_BENCHMARK(PruneFiles, new, NewName())->Arg(10)->Arg(1000)->Arg(100000);
PRUNING_BENCHMARK(PruneDirectories, old, OldName())->Arg(30000);
PRUNING_BENCHMARK(PruneDirectories, new, NewName())->Arg(30000);

}  // namespace
