// orva-fp image apply: one image function from a file into a file.
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "tools/image/image_command.h"

namespace tools {

namespace {

constexpr char kHelp[] =
    R"(OUT is written in the format of its extension: .png, .pgm, .bmp, .raw or .bin.

Exit status:
  0  OUT was written
  2  bad arguments
  4  OUT cannot be written
  6  IN or the mask cannot be read, or is no frame for this function)";

struct options {
  std::string in;
  std::string out;
  raw_layout layout;
  int32_t delta = NOISE_DEFAULT_DELTA;
  int32_t white_percent = HISTEQ_DEFAULT_WHITE_PERCENT;
  bool vertical = false;
  bool horizontal = false;
  bool transposed = false;
  bool keep = false;
  std::string mask;
};

using operation = std::function<void(const options &, frame &)>;

void median(const options &, frame &f) {
  std::vector<uint8_t> work(f.pixels.size());
  median_filter(f.pixels.data(), work.data(), f.width, f.height);
}

void remove_noise(const options &o, frame &f) {
  const int32_t replaced =
      remove_noise_use_median_filter(f.pixels.data(), f.width, f.height, o.delta);
  printf("%d pixels replaced\n", replaced);
}

void equalise(const options &, frame &f) { histeq(f.pixels.data(), f.width, f.height); }

void equalise_white(const options &o, frame &f) {
  histeq_white(f.pixels.data(), f.width, f.height, o.white_percent);
}

void invert(const options &, frame &f) { image_reverse(f.pixels.data(), f.width, f.height); }

void flip(const options &o, frame &f) {
  if (!o.vertical && !o.horizontal) {
    throw command_error(kBadUsage, "flip needs --vertical or --horizontal");
  }
  const int mode = (o.vertical ? FLIP_VERTICAL : 0) | (o.horizontal ? FLIP_HORIZONTAL : 0);
  images_flips(f.pixels.data(), f.width, f.height, 1, static_cast<uint8_t>(mode));
}

void remove_dummy(const options &o, frame &f) {
  const bool plain_copy = o.keep && !o.transposed;
  if (plain_copy) throw command_error(kBadUsage, "--keep goes with --transposed");
  if (o.transposed) std::swap(f.width, f.height);
  const int32_t width = f.width - (o.keep ? 0 : 1), height = f.height - (o.keep ? 0 : 1);
  if (width < 1 || height < 1) throw frame_error(o.in, "nothing is left without the T dummy");
  std::vector<uint16_t> kept(static_cast<size_t>(width) * static_cast<size_t>(height));
  if (o.transposed) {
    transpose_remove_T_dummy(f.samples.data(), f.width, f.height, o.keep ? 1 : 0, kept.data());
  } else {
    remove_T_dummy(f.samples.data(), f.width, f.height, kept.data());
  }
  f = {width, height, {}, std::move(kept)};
}

void offset(const options &o, frame &f) {
  frame mask{f.width, f.height, std::vector<uint8_t>(f.pixels.size()), {}};
  if (!o.mask.empty()) {
    raw_layout layout{f.width, f.height, 8};
    mask = load_frame(o.mask, layout);
    if (mask.is_raw() || mask.width != f.width || mask.height != f.height) {
      throw frame_error(o.mask, "a mask must have 8 bits and the size of the frame");
    }
    // 255 is how a picture of a mask says 1.
    for (uint8_t &m : mask.pixels) m = m != 0 ? 1 : 0;
  }
  const int32_t least = offset_min(f.pixels.data(), mask.pixels.data(), f.width, f.height);
  printf("%d subtracted\n", least);
}

exit_status run(const options &o, const std::string &name, bool raw_samples,
                const operation &apply) {
  exit_status where = kBadOutput;
  try {
    need_writable_format(o.out, raw_samples);
    where = kBadFrame;
    frame f = load_frame(o.in, o.layout);
    if (f.is_raw() != raw_samples) {
      throw frame_error(
          o.in, raw_samples ? name + " takes frames of 16 bits" : name + " takes frames of 8 bits");
    }
    apply(o, f);
    where = kBadOutput;
    save_frame(o.out, f);
  } catch (const frame_error &error) {
    throw command_error(where, error.what());
  }
  return kPass;
}

}  // namespace

void add_apply_command(CLI::App *image, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *apply = image->add_subcommand("apply", "Applies one function to a frame");
  apply->footer(kHelp);
  need_subcommand(apply);
  const auto add = [&](const std::string &name, const std::string &text, const operation &function,
                       bool raw_samples = false) {
    CLI::App *command = apply->add_subcommand(name, text);
    command->add_option("in", o->in, "Frame to read")->required()->type_name("IN");
    command->add_option("out", o->out, "File to write")->required()->type_name("OUT");
    add_layout_options(command, o->layout);
    command->callback([o, name, raw_samples, function, &result] {
      result = run(*o, name, raw_samples, function);
    });
    return command;
  };

  add("median", "3 x 3 median of every pixel", median);
  add("remove-noise", "3 x 3 median of the spikes only", remove_noise)
      ->add_option("--delta", o->delta, "Margin by which a spike leaves its neighbours")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  add("equalise", "Histogram equalisation", equalise);
  add("equalise-white", "Histogram equalisation that keeps the brightest pixels", equalise_white)
      ->add_option("--white-percent", o->white_percent, "Share of pixels to keep")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  add("invert", "Every level v becomes 255 - v", invert);
  CLI::App *flipping = add("flip", "Turns the frame over; both ways is half a turn", flip);
  flipping->add_flag("--vertical", o->vertical, "Upside down");
  flipping->add_flag("--horizontal", o->horizontal, "Left to right");
  CLI::App *removing =
      add("remove-dummy", "16-bit frame without row 0 and the middle column", remove_dummy, true);
  removing->add_flag("--transposed", o->transposed, "The frame is stored column by column");
  removing->add_flag("--keep", o->keep, "With --transposed: turn the frame and keep the dummy");
  add("offset", "Subtracts the smallest level", offset)
      ->add_option("--mask", o->mask,
                   "Frame whose pixels that are not 0 do not count for the smallest level");
}

}  // namespace tools
