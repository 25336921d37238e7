// Counts the instructions of every row: per call, per byte, and beside the simple form and the
// peer. Runs in the emulator with the plugin instruction_counter.c, which knows the count. The
// argument is a regular expression that chooses rows by name.
#include <cstdio>
#include <regex>

#include "bench.h"
#include "executed.h"

namespace bench {

namespace {

uint64_t instructions_between(const std::function<void()> &run) {
  const uint64_t before = executed();
  run();
  return executed() - before;
}

// Instructions of one call, 0 for no form. The first call is not counted: it may set things up.
double instructions_of(const std::function<void()> &run) {
  if (!run) return 0;
  static const uint64_t overhead = (executed(), instructions_between([] {}));
  run();
  return static_cast<double>(instructions_between(run) - overhead);
}

void count_row(const row &r) {
  const double library = instructions_of(r.fast);
  print_row(r, {{library, 0},
                {library / static_cast<double>(r.bytes), 3},
                {instructions_of(r.simple) / library, 2},
                {instructions_of(r.peer) / library, 2}});
  fflush(stdout);
}

}  // namespace

}  // namespace bench

int main(int argc, char **argv) {
  const std::regex chosen(argc > 1 ? argv[1] : "");
  bench::print_head({"per call", "per byte", "x simple", "x peer"});
  for (const bench::row &r : bench::all_rows()) {
    if (std::regex_search(r.name(), chosen)) bench::count_row(r);
  }
  return 0;
}
