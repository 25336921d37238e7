// Takes the time of every row and prints one table with the ratios between the forms, all from one
// run.
#include <benchmark/benchmark.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <sys/utsname.h>

#include "bench.h"

namespace bench {

namespace {

std::string benchmark_name(const row &r, const char *form) { return r.name() + "/" + form; }

// The bytes of the widest sweep, in memory that both sweeps share.
std::vector<uint8_t> &sweep_memory() {
  static std::vector<uint8_t> memory;
  return memory;
}

void sweep_copy(size_t bytes) {
  uint8_t *memory = sweep_memory().data();
  memcpy(memory + sweep_memory().size() / 2, memory, bytes);
  benchmark::ClobberMemory();
}

void sweep_read(size_t bytes) {
  const uint8_t *memory = sweep_memory().data();
  uint64_t total = 0;
  for (size_t i = 0; i + 64 <= bytes; i += 64) {
    uint64_t words[8];
    memcpy(words, memory + i, sizeof words);
    for (uint64_t word : words) total ^= word;
  }
  benchmark::DoNotOptimize(total);
}

void register_rows() {
  size_t widest = 0;
  for (const row &r : all_rows()) widest = std::max(widest, r.bytes);
  sweep_memory().assign(2 * widest + 128, 1);

  for (const row &r : all_rows()) {
    const auto add_form = [&r](const char *form, std::function<void()> run) {
      if (!run) return;
      benchmark::RegisterBenchmark(
          benchmark_name(r, form).c_str(), [run, bytes = r.bytes](benchmark::State &state) {
            for (auto _ : state) {
              run();
              benchmark::ClobberMemory();
            }
            state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes));
          });
    };
    add_form("library", r.fast);
    add_form("simple", r.simple);
    add_form("peer", r.peer);
    const size_t bytes = r.bytes;
    if (r.sweep == ceiling::kCopy) {
      add_form("sweep", [bytes] { sweep_copy(bytes); });
    } else {
      add_form("sweep", [bytes] { sweep_read(bytes); });
    }
  }
}

// Collects the median time of every benchmark.
class collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context &) override { return true; }
  void ReportRuns(const std::vector<Run> &runs) override {
    for (const Run &run : runs) {
      const bool single = run.run_type == Run::RT_Iteration && run.repetitions == 1;
      if (single || run.aggregate_name == "median") {
        times_[run.run_name.function_name] = run.GetAdjustedCPUTime();
      }
    }
  }
  // Nanoseconds, 0 when the form did not run.
  double time(const row &r, const char *form) const {
    const auto found = times_.find(benchmark_name(r, form));
    return found == times_.end() ? 0.0 : found->second;
  }

 private:
  std::map<std::string, double> times_;
};

std::string processor_name() {
  std::ifstream info("/proc/cpuinfo");
  for (std::string line; std::getline(info, line);) {
    if (line.rfind("model name", 0) == 0) return line.substr(line.find(':') + 2);
  }
  utsname machine{};
  uname(&machine);
  return machine.machine;
}

void print_table(const collector &times) {
  printf("Processor: %s\n", processor_name().c_str());
  print_head({"ns", "GB/s", "x simple", "x peer", "of sweep"});
  for (const row &r : all_rows()) {
    const double library = times.time(r, "library");
    if (library <= 0) continue;
    print_row(r, {{library, 0},
                  {static_cast<double>(r.bytes) / library, 2},
                  {times.time(r, "simple") / library, 2},
                  {times.time(r, "peer") / library, 2},
                  {times.time(r, "sweep") / library, 2}});
  }
}

}  // namespace

}  // namespace bench

int main(int argc, char **argv) {
  bench::register_rows();

  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
  bench::collector times;
  benchmark::RunSpecifiedBenchmarks(&times);
  bench::print_table(times);
  return 0;
}
