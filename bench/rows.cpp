// The rows of all families, and how both programs print them.
#include <cstdio>
#include <cstdlib>

#include "bench.h"

namespace bench {

namespace {

std::vector<row> &rows() {
  static std::vector<row> all;
  return all;
}

}  // namespace

const std::vector<row> &all_rows() {
  if (rows().empty()) {
#ifdef ORVA_BENCH_OPENCV
    cv::setNumThreads(1);
#endif
    add_median();
    add_otsu();
    add_equalisation();
    add_layout();
    add_statistics();
    add_raw_frame();
    add_stack_median();
    add_noise();
    add_water();
    add_evaluation();
  }
  return rows();
}

void add(row r) { rows().push_back(std::move(r)); }

const std::vector<support::frame_size> &sizes() {
  static const std::vector<support::frame_size> all = {{160, 160}, {200, 200}, {1000, 1000}};
  return all;
}

void require(bool agrees, const std::string &function) {
  if (agrees) return;
  fprintf(stderr, "%s: the peer's result differs\n", function.c_str());
  exit(1);
}

void print_head(std::initializer_list<const char *> columns) {
  printf("Compiler: %s, flags: %s\nPeer: %s\n\n", ORVA_BENCH_COMPILER, ORVA_BENCH_FLAGS,
#ifdef ORVA_BENCH_OPENCV
         "OpenCV " CV_VERSION ", one thread; std::sort for sort"
#else
         "std::sort for sort"
#endif
  );
  printf("| %-40s | %-9s |", "function", "size");
  for (const char *column : columns) printf(" %11s |", column);
  printf("\n|%s|%s|", std::string(42, '-').c_str(), std::string(11, '-').c_str());
  for (size_t i = 0; i < columns.size(); ++i) printf("%s:|", std::string(12, '-').c_str());
  printf("\n");
}

void print_row(const row &r, std::initializer_list<cell> cells) {
  printf("| %-40s | %-9s |", r.function.c_str(), r.size_text().c_str());
  for (const cell &c : cells) {
    if (c.value > 0) {
      printf(" %11.*f |", c.decimals, c.value);
    } else {
      printf(" %11s |", "-");
    }
  }
  printf("\n");
}

}  // namespace bench
