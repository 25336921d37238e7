// One value per block of a grid over the image, or per quadrant: the mean, or the distance between
// the means of the two classes that Otsu's threshold separates.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "algorithm/plane.h"
#include "orva_fp/image.h"
#include "orva_fp/log.h"
#include "platform/log_line.h"

namespace {

constexpr size_t kMostSide = 255;
constexpr size_t kUsualSide = 16;

// The image and mask that a call works on; rows of stride bytes.
struct source {
  const uint8_t *image;
  const uint8_t *mask;  // or null
  size_t stride;

  source at(size_t x, size_t y) const {
    const size_t offset = y * stride + x;
    return {image + offset, mask == nullptr ? nullptr : mask + offset, stride};
  }
};

// ---- Means --------------------------------------------------------------------------------------

struct pixel_total {
  uint64_t sum = 0;
  uint64_t count = 0;

  uint8_t mean() const { return count == 0 ? uint8_t{0} : static_cast<uint8_t>(sum / count); }
};

// Sums of columns rather than of rows: every pixel goes into a lane of its own, whatever the width
// of a block. At most kMostSide rows fit into a lane.
class column_totals {
 public:
  static constexpr size_t kColumns = 512;

  column_totals(const source &from, size_t columns, size_t rows) {
    memset(sums_, 0, columns * sizeof sums_[0]);
    memset(counts_, from.mask == nullptr ? static_cast<int>(rows) : 0, columns);
    for (size_t y = 0; y < rows; ++y) {
      const source row = from.at(0, y);
      if (from.mask == nullptr) {
        add(row.image, columns);
      } else {
        add(row.image, row.mask, columns);
      }
    }
  }

  pixel_total total(size_t first, size_t columns) const {
    uint32_t sum = 0;
    uint32_t count = 0;
    for (size_t x = first; x < first + columns; ++x) sum += sums_[x];
    for (size_t x = first; x < first + columns; ++x) count += counts_[x];
    return {sum, count};
  }

 private:
  void add(const uint8_t *values, size_t columns) {
    for (size_t x = 0; x < columns; ++x) sums_[x] = static_cast<uint16_t>(sums_[x] + values[x]);
  }
  void add(const uint8_t *values, const uint8_t *mask, size_t columns) {
    for (size_t x = 0; x < columns; ++x) {
      const uint8_t value = mask[x] == 0 ? values[x] : uint8_t{0};
      sums_[x] = static_cast<uint16_t>(sums_[x] + value);
    }
    for (size_t x = 0; x < columns; ++x) {
      counts_[x] = static_cast<uint8_t>(counts_[x] + (mask[x] == 0 ? 1 : 0));
    }
  }

  uint16_t sums_[kColumns];
  uint8_t counts_[kColumns];
};

uint8_t region_mean(const source &from, size_t width, size_t height) {
  pixel_total all;
  for (size_t y = 0; y < height; y += kMostSide) {
    for (size_t x = 0; x < width; x += column_totals::kColumns) {
      const size_t columns = std::min(column_totals::kColumns, width - x);
      const column_totals tile(from.at(x, y), columns, std::min(kMostSide, height - y));
      const pixel_total part = tile.total(0, columns);
      all.sum += part.sum;
      all.count += part.count;
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

  block_grid(size_t width, size_t height, uint8_t slice_window_size) : side(slice_window_size) {
    if (side == 0 || width < side || height < side) return;
    columns = width / side;
    rows = height / side;
    left = width % side / 2;
    top = height % side / 2;
  }
  uint32_t count() const { return static_cast<uint32_t>(columns * rows); }
};

void block_means(const source &from, const block_grid &grid, uint8_t *values) {
  if (grid.count() == 0) return;  // the side may be 0
  const size_t side = grid.side;
  const size_t blocks_per_tile = column_totals::kColumns / side;
  for (size_t by = 0; by < grid.rows; ++by) {
    for (size_t bx = 0; bx < grid.columns; bx += blocks_per_tile) {
      const size_t blocks = std::min(blocks_per_tile, grid.columns - bx);
      const column_totals tile(from.at(grid.left + bx * side, grid.top + by * side), blocks * side,
                               side);
      for (size_t block = 0; block < blocks; ++block) {
        *values++ = tile.total(block * side, side).mean();
      }
    }
  }
}

// ---- Dynamic range ------------------------------------------------------------------------------

// Copies the participating pixels of a block and returns their number.
size_t gather_block(const source &from, size_t side, uint8_t *pixels) {
  size_t count = 0;
  for (size_t y = 0; y < side; ++y) {
    const source row = from.at(0, y);
    if (row.mask == nullptr) {
      // A call of memcpy takes longer than the copy of the usual side does inline.
      if (side == kUsualSide) {
        memcpy(pixels + count, row.image, kUsualSide);
      } else {
        memcpy(pixels + count, row.image, side);
      }
      count += side;
    } else {
      for (size_t x = 0; x < side; ++x) {
        pixels[count] = row.image[x];
        count += row.mask[x] == 0 ? 1 : 0;
      }
    }
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
[[gnu::noinline]] void block_ranges(const source &from, const block_grid &grid, uint8_t *values) {
  // One more than the pixels of the largest block: the last pixel may be copied and left out.
  uint8_t pixels[kLargestSide * kLargestSide + 1];
  for (size_t by = 0; by < grid.rows; ++by) {
    for (size_t bx = 0; bx < grid.columns; ++bx) {
      const source block = from.at(grid.left + bx * grid.side, grid.top + by * grid.side);
      *values++ = dynamic_range(pixels, gather_block(block, grid.side, pixels));
    }
  }
}

// The image of the size in force.
orva::plane<const uint8_t> image_in_force(const uint8_t *image) {
  return {image, g_img_alg_sd.width, g_img_alg_sd.height};
}

}  // namespace

void vCalculateBlockDRCS1(const uint8_t *image, uint32_t *block_count, uint8_t *block_values,
                          const uint8_t *mask, uint8_t slice_window_size) {
  const auto [first, width, height, stride] = image_in_force(image);
  const source all = {image, mask, width};
  if (*block_count == BLOCK_COUNT_QUADRANTS) {
    const size_t half_width = width / 2;
    const size_t half_height = height / 2;
    const size_t right_width = width - half_width;
    const size_t bottom_height = height - half_height;
    block_values[0] = region_mean(all, half_width, half_height);
    block_values[1] = region_mean(all.at(half_width, 0), right_width, half_height);
    block_values[2] = region_mean(all.at(0, half_height), half_width, bottom_height);
    block_values[3] = region_mean(all.at(half_width, half_height), right_width, bottom_height);
    return;
  }
  const block_grid grid(width, height, slice_window_size);
  block_means(all, grid, block_values);
  *block_count = grid.count();
}

void vCalculateBlockDROtsuCS1(const uint8_t *image, const void * /*unused*/, uint32_t *block_count,
                              uint8_t *block_values, const uint8_t *mask,
                              uint8_t slice_window_size) {
  output_log(orva::kLogDebug, orva::kLogTag, "orva_image_algorithm", "vCalculateBlockDROtsuCS1",
             1370, "slice_window_size: %d, W(%d), H(%d)", slice_window_size, g_img_alg_sd.width,
             g_img_alg_sd.height);
  const orva::plane pixels = image_in_force(image);
  const block_grid grid(pixels.width, pixels.height, slice_window_size);
  const source all = {image, mask, pixels.width};
  const auto ranges = grid.side <= kUsualSide ? block_ranges<kUsualSide> : block_ranges<kMostSide>;
  ranges(all, grid, block_values);
  *block_count = grid.count();
}
