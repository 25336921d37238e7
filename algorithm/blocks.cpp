// One value per block of a grid over the image, or per quadrant: the mean, or the distance between
// the means of the two classes that Otsu's threshold separates.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "algorithm/bytes.h"
#include "algorithm/plane.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "platform/log_line.h"

namespace {

using orva::plane;

constexpr size_t kMostSide = 255;
constexpr size_t kUsualSide = 16;

// The image that a call works on, and the mask: empty where none is given.
struct masked_image {
  plane<const uint8_t> pixels;
  plane<const uint8_t> mask;

  masked_image part(size_t x, size_t y, size_t width, size_t height) const {
    return {pixels.part(x, y, width, height), mask.part(x, y, width, height)};
  }
};

// The image of the size in force.
masked_image image_in_force(const uint8_t *image, const uint8_t *mask) {
  const auto [width, height] = g_img_alg_sd;
  return {{image, width, height}, {mask, mask == nullptr ? 0 : width, height}};
}

// ---- Means --------------------------------------------------------------------------------------

struct pixel_total {
  uint64_t sum = 0;
  uint64_t count = 0;

  uint8_t mean() const { return count == 0 ? uint8_t{0} : static_cast<uint8_t>(sum / count); }
};

// Columns are summed, not rows: so every column has a lane of its own, whatever the width of a
// block. A lane holds the sum of up to kMostSide rows.
class column_totals {
 public:
  static constexpr size_t kColumns = 512;

  explicit column_totals(const masked_image &tile)
      : rows_(tile.pixels.height), masked_(!tile.mask.empty()) {
    orva::for_each_overlapping_vector<uint8_t>(tile.pixels.width,
                                               [&](size_t x, auto lanes) ORVA_INLINE {
                                                 if constexpr (lanes == 1) {
                                                   add_column(tile, x);
                                                 } else if (masked_) {
                                                   add_masked_columns(tile, x);
                                                 } else {
                                                   add_columns(tile, x);
                                                 }
                                               });
  }

  pixel_total total(size_t first, size_t columns) const {
    orva::pair_sum<uint16_t, uint32_t> sums;
    orva::for_each_vector<uint16_t, 1>(columns,
                                       [&](auto at) ORVA_INLINE { sums.add(at(sums_ + first)); });
    const uint32_t sum = orva::sum_of_lanes(sums.lower() + sums.upper());
    return {sum, masked_ ? orva::sum(counts_ + first, columns) : columns * rows_};
  }

 private:
  using bytes = orva::vector<uint8_t>;

  ORVA_INLINE void store(size_t x, const orva::byte_sum &sums) {
    const orva::lane_array<uint16_t> lower(sums.lower());
    const orva::lane_array<uint16_t> upper(sums.upper());
    for (size_t i = 0; i < orva::kLanes<uint16_t>; ++i) {
      sums_[x + 2 * i] = lower.samples[i];
      sums_[x + 2 * i + 1] = upper.samples[i];
    }
  }

  ORVA_INLINE void add_columns(const masked_image &tile, size_t x) {
    orva::byte_sum sums;
    orva::for_each_step<1, 8>(
        rows_, [&](size_t y) ORVA_INLINE { sums.add(orva::load<bytes>(tile.pixels.row(y) + x)); });
    store(x, sums);
  }
  ORVA_INLINE void add_masked_columns(const masked_image &tile, size_t x) {
    orva::byte_sum sums;
    bytes counts = {};
    for (size_t y = 0; y < rows_; ++y) {
      const bytes in = orva::at_least(bytes{}, orva::load<bytes>(tile.mask.row(y) + x));
      sums.add(orva::load<bytes>(tile.pixels.row(y) + x) & in);
      counts -= in;
    }
    store(x, sums);
    orva::store(counts_ + x, counts);
  }
  void add_column(const masked_image &tile, size_t x) {
    sums_[x] = 0;
    counts_[x] = 0;
    for (size_t y = 0; y < rows_; ++y) {
      if (masked_ && tile.mask.row(y)[x] != 0) continue;
      sums_[x] = static_cast<uint16_t>(sums_[x] + tile.pixels.row(y)[x]);
      ++counts_[x];
    }
  }

  const size_t rows_;
  const bool masked_;
  uint16_t sums_[kColumns];
  uint8_t counts_[kColumns];  // of a masked tile
};

uint8_t mean_of(const masked_image &image) {
  const size_t width = image.pixels.width;
  const size_t height = image.pixels.height;
  pixel_total all;
  for (size_t y = 0; y < height; y += kMostSide) {
    for (size_t x = 0; x < width; x += column_totals::kColumns) {
      const size_t columns = std::min(column_totals::kColumns, width - x);
      const size_t rows = std::min(kMostSide, height - y);
      const pixel_total tile = column_totals(image.part(x, y, columns, rows)).total(0, columns);
      all.sum += tile.sum;
      all.count += tile.count;
    }
  }
  return all.mean();
}

// ---- Grid ---------------------------------------------------------------------------------------

// Square blocks, centred in the image; the smaller half of what is left over is at the left and at
// the top. No blocks where none fits.
struct block_grid {
  size_t side;
  size_t columns = 0;
  size_t rows = 0;
  size_t left = 0;
  size_t top = 0;

  block_grid(const plane<const uint8_t> &image, uint8_t slice_window_size)
      : side(slice_window_size) {
    if (side == 0 || image.width < side || image.height < side) return;
    columns = image.width / side;
    rows = image.height / side;
    left = image.width % side / 2;
    top = image.height % side / 2;
  }
  uint32_t count() const { return static_cast<uint32_t>(columns * rows); }
};

void block_means(const masked_image &image, const block_grid &grid, uint8_t *values) {
  if (grid.count() == 0) return;  // the side may be 0
  const size_t side = grid.side;
  const size_t blocks_per_tile = column_totals::kColumns / side;
  for (size_t by = 0; by < grid.rows; ++by) {
    for (size_t bx = 0; bx < grid.columns; bx += blocks_per_tile) {
      const size_t blocks = std::min(blocks_per_tile, grid.columns - bx);
      const column_totals tile(
          image.part(grid.left + bx * side, grid.top + by * side, blocks * side, side));
      for (size_t block = 0; block < blocks; ++block) {
        *values++ = tile.total(block * side, side).mean();
      }
    }
  }
}

// ---- Dynamic range ------------------------------------------------------------------------------

// Copies the participating pixels of a block and returns their number.
size_t gather_block(const masked_image &block, uint8_t *pixels) {
  const size_t side = block.pixels.width;
  size_t count = 0;
  for (size_t y = 0; y < side; ++y) {
    const uint8_t *row = block.pixels.row(y);
    if (!block.mask.empty()) {
      const uint8_t *mask = block.mask.row(y);
      for (size_t x = 0; x < side; ++x) {
        pixels[count] = row[x];
        count += mask[x] == 0 ? 1 : 0;
      }
      continue;
    }
    // A call of memcpy takes longer than the copy of the usual side does inline.
    if (side == kUsualSide) {
      memcpy(pixels + count, row, kUsualSide);
    } else {
      memcpy(pixels + count, row, side);
    }
    count += side;
  }
  return count;
}

uint8_t dynamic_range(const uint8_t *pixels, size_t count) {
  uint32_t low_count = 0;
  uint32_t high_count = 0;
  double low_mean = 0;
  double high_mean = 0;
  ucFindOtsuThCS1(pixels, static_cast<int32_t>(count), 1, &low_count, &high_count, &low_mean,
                  &high_mean, nullptr);
  return static_cast<uint8_t>(static_cast<uint32_t>(high_mean - low_mean));
}

// Not inlined, so that small blocks never take the stack that large ones need.
template <size_t kLargestSide>
[[gnu::noinline]] void block_ranges(const masked_image &image, const block_grid &grid,
                                    uint8_t *values) {
  // One byte more than the largest block has pixels: each pixel is copied before its mask decides
  // whether it stays.
  uint8_t pixels[kLargestSide * kLargestSide + 1];
  const size_t side = grid.side;
  for (size_t by = 0; by < grid.rows; ++by) {
    for (size_t bx = 0; bx < grid.columns; ++bx) {
      const masked_image block =
          image.part(grid.left + bx * side, grid.top + by * side, side, side);
      *values++ = dynamic_range(pixels, gather_block(block, pixels));
    }
  }
}

}  // namespace

void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count, uint8_t *block_values,
                          const uint8_t *mask, uint8_t slice_window_size) {
  const masked_image all = image_in_force(image, mask);
  if (*block_count == BLOCK_COUNT_QUADRANTS) {
    const size_t left = all.pixels.width / 2;
    const size_t top = all.pixels.height / 2;
    const size_t right = all.pixels.width - left;
    const size_t bottom = all.pixels.height - top;
    block_values[0] = mean_of(all.part(0, 0, left, top));
    block_values[1] = mean_of(all.part(left, 0, right, top));
    block_values[2] = mean_of(all.part(0, top, left, bottom));
    block_values[3] = mean_of(all.part(left, top, right, bottom));
    return;
  }
  const block_grid grid(all.pixels, slice_window_size);
  block_means(all, grid, block_values);
  *block_count = grid.count();
}

void vCalculateBlockDROtsuCS1(const uint8_t *image, const void * /*unused*/, uint32_t *block_count,
                              uint8_t *block_values, const uint8_t *mask,
                              uint8_t slice_window_size) {
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "vCalculateBlockDROtsuCS1",
             1370, "slice_window_size: %d, W(%d), H(%d)", slice_window_size, g_img_alg_sd.width,
             g_img_alg_sd.height);
  const masked_image all = image_in_force(image, mask);
  const block_grid grid(all.pixels, slice_window_size);
  const auto ranges = grid.side <= kUsualSide ? block_ranges<kUsualSide> : block_ranges<kMostSide>;
  ranges(all, grid, block_values);
  *block_count = grid.count();
}
