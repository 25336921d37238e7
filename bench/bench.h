// One row of the benchmark tables: a library function at one size beside its simple form, the
// peer's operation and a plain sweep of the same bytes. Two programs run the rows: image_bench
// takes their time, image_count their instructions.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "simple/simple_forms.h"
#include "support/frames.h"

#ifdef ORVA_BENCH_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace bench {

// The plain sweep that is the ceiling of a function's speed.
enum class ceiling { kCopy, kRead };

struct row {
  std::string function;  // with the variant where there are several: "get_median 5"
  support::frame_size size;
  size_t bytes;  // read or written once, the basis of bytes per second and of the ceiling
  ceiling sweep;
  std::function<void()> fast;
  std::function<void()> simple;
  std::function<void()> peer;  // empty where the peer has no such operation

  std::string size_text() const {
    return std::to_string(size.width) + "x" + std::to_string(size.height);
  }
  std::string name() const { return function + "/" + size_text(); }
};

// Every family's rows.
const std::vector<row> &all_rows();

void add(row r);

// 160 x 160, 200 x 200 and 1000 x 1000.
const std::vector<support::frame_size> &sizes();

// Ends the program with a message when the library and the peer disagree where they must agree.
void require(bool agrees, const std::string &function);

// Makes the compiler compute a value that nothing else uses.
template <typename T>
inline void consume(const T &value) {
  asm volatile("" : : "m"(value) : "memory");
}

// One number of a table, "-" for one that was not measured and so is not above 0.
struct cell {
  double value;
  int decimals;
};

// Compiler and peer, then a head with these columns behind the function's name and the size.
void print_head(std::initializer_list<const char *> columns);
void print_row(const row &r, std::initializer_list<cell> cells);

// Adds a family's rows.
void add_equalisation();
void add_evaluation();
void add_layout();
void add_median();
void add_noise();
void add_otsu();
void add_raw_frame();
void add_stack_median();
void add_statistics();
void add_water();

}  // namespace bench
