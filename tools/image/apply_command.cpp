// orva-fp image apply: image functions, one after another, from files into files.
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <orva_fp/image.h>

#include "tools/image/image_command.h"
#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

struct options {
  std::vector<std::string> words;
  std::string out, as, mask;
  raw_layout layout;
  int32_t delta = NOISE_DEFAULT_DELTA;
  int32_t white_percent = HISTEQ_DEFAULT_WHITE_PERCENT;
  bool vertical = false, horizontal = false, keep_dummy = false;
};

// A filter's part of the work on one file.
struct task {
  const options &o;
  const std::string &in;
  FILE *lines;  // for what there is to tell
  frame &f;

  uint8_t *pixels() const { return f.pixels.data(); }
};

template <auto function>
void in_place(const task &t) {
  function(t.pixels(), t.f.width, t.f.height);
}

void median(const task &t) {
  std::vector<uint8_t> work(t.f.size());
  median_filter(t.pixels(), work.data(), t.f.width, t.f.height);
}

void remove_noise(const task &t) {
  print(t.lines, "{}: {} pixels replaced\n", printable(t.in),
        remove_noise_use_median_filter(t.pixels(), t.f.width, t.f.height, t.o.delta));
}

void equalise_white(const task &t) {
  histeq_white(t.pixels(), t.f.width, t.f.height, t.o.white_percent);
}

void flip(const task &t) {
  if (t.o.vertical) in_place<flip_vertical>(t);
  if (t.o.horizontal) in_place<flip_horizontal>(t);
}

void offset(const task &t) {
  const frame &f = t.f;
  std::vector<uint8_t> mask(f.size());
  if (!t.o.mask.empty()) {
    const frame given = load_frame(t.o.mask, {f.width, f.height, 8});
    if (given.is_raw() || given.width != f.width || given.height != f.height) {
      throw frame_error(t.o.mask, "a mask must have 8 bits and the size of the frame");
    }
    // 255 is how a picture of a mask says 1.
    std::ranges::transform(given.pixels, mask.begin(), [](int level) { return level != 0; });
  }
  print(t.lines, "{}: {} subtracted\n", printable(t.in),
        offset_min(t.pixels(), mask.data(), f.width, f.height));
}

void remove_dummy(const task &t) {
  if (!t.o.keep_dummy) t.f = without_dummy(t.in, t.f);
}

void reduce(const task &t) {
  t.f.pixels = upper_bits(t.f);
  t.f.samples.clear();
}

struct filter {
  std::string_view name;
  const char *text;
  void (*apply)(const task &);
  bool from_samples = false;  // takes frames of 16 bits
  bool to_samples = false;
};

const filter kFilters[] = {
    {"median", "3 x 3 median of every pixel", median},
    {"remove-noise", "3 x 3 median of the spikes only", remove_noise},
    {"equalise", "histogram equalisation", in_place<histeq>},
    {"equalise-white", "equalisation that keeps the brightest pixels", equalise_white},
    {"invert", "every level v becomes 255 - v", in_place<image_reverse>},
    {"flip", "turns the frame over, with both options half a turn", flip},
    {"offset", "subtracts the smallest level", offset},
    {"remove-dummy", "16-bit frame without row 0 and the middle column", remove_dummy, true, true},
    {"reduce", "8 bits out of 16: the upper 8 of those in use", reduce, true, false},
};

std::string depth(bool samples) { return samples ? "16 bits" : "8 bits"; }

// The leading words that name a filter do; the rest are files.
std::vector<const filter *> take_filters(std::vector<std::string> &words) {
  std::vector<const filter *> filters;
  for (const std::string &word : words) {
    const auto *named = std::ranges::find(kFilters, word, &filter::name);
    if (named == std::end(kFilters)) break;
    need(filters.empty() || filters.back()->to_samples == named->from_samples, kBadUsage,
         "{} takes frames of {}, which {} does not give", word, depth(named->from_samples),
         filters.empty() ? "" : filters.back()->name);
    filters.push_back(named);
  }
  need(!filters.empty(), kBadUsage, "{} is no filter; see --help", words[0]);
  words.erase(words.begin(), words.begin() + std::ssize(filters));
  return filters;
}

// The options of a filter stand in the group of its name.
void need_own_options(const CLI::App &apply, const std::vector<const filter *> &filters) {
  for (const CLI::Option *option : apply.get_options()) {
    const std::string &group = option->get_group();
    const bool common = std::ranges::find(kFilters, group, &filter::name) == std::end(kFilters);
    const bool used = std::ranges::find(filters, group, &filter::name) != filters.end();
    need(common || used || option->count() == 0, kBadUsage, "{} goes with {}", option->get_name(),
         group);
  }
}

void apply_to(const options &o, const std::vector<const filter *> &filters, const std::string &in,
              const std::string &out) {
  const std::string format = output_format(out, o.as, filters.back()->to_samples);
  frame f = load_frame(in, o.layout);
  if (f.is_raw() != filters[0]->from_samples) {
    throw frame_error(in, fmt::format("{} takes frames of {}", filters[0]->name,
                                      depth(filters[0]->from_samples)));
  }
  for (const filter *step : filters) step->apply({o, in, lines_beside(out), f});
  save_frame(out, format, f);
}

exit_status run(const CLI::App &apply, options o) {
  std::vector<std::string> &files = o.words;
  const std::vector<const filter *> filters = take_filters(files);
  need_own_options(apply, filters);
  const bool flips = std::ranges::find(filters, "flip", &filter::name) != filters.end();
  need(!flips || o.vertical || o.horizontal, kBadUsage, "flip needs --vertical or --horizontal");
  if (o.out.empty()) {
    need(files.size() == 2, kBadUsage, "give IN and OUT, or frames and --out");
    apply_to(o, filters, files[0], files[1]);
    return kPass;
  }

  need(!files.empty(), kBadUsage, "there is no frame for --out");
  prepare_output_folder(o.out);
  exit_status status = kPass;
  std::set<fs::path> written;
  for (const std::string &in : files) {
    try {
      fs::path out = o.out / fs::path(in == kStandardStream ? "stdin" : in).filename();
      if (!o.as.empty()) out.replace_extension(o.as);
      std::error_code none;
      if (!written.insert(out).second) throw frame_error(in, "another frame has the same name");
      if (fs::equivalent(in, out, none)) throw frame_error(in, "would be written over");
      apply_to(o, filters, in, out);
    } catch (const command_error &error) {
      complain(error.what());
      if (status != kBadOutput) status = error.status;
    }
  }
  return status;
}

}  // namespace

void add_apply_command(CLI::App *image, exit_status &result) {
  const auto o = std::make_shared<options>();
  CLI::App *apply = image->add_subcommand("apply", "Applies filters to frames, one after another");
  std::string help =
      "orva-fp image apply FILTER... IN OUT\norva-fp image apply FILTER... IN... --out FOLDER\n\n"
      "OUT is written in the format of its extension: .png, .pgm, .bmp, .raw or "
      ".bin.\n\nFilters:\n";
  for (const filter &f : kFilters) help += fmt::format("  {:<15} {}\n", f.name, f.text);
  apply->footer(help + "\n" + kExitStatuses);
  apply->add_option("words", o->words, "Filters, then files")
      ->required()
      ->type_name("FILTER... IN");
  apply->add_option("--out", o->out, "Folder for the results, under the frames' names");
  add_format_option(apply, o->as, "Format of the results, whatever their names");
  add_layout_options(apply, o->layout);
  add_number(apply, "--delta", o->delta, "Margin by which a spike stands out", 0, 255)
      ->group("remove-noise");
  add_number(apply, "--white-percent", o->white_percent, "Share of pixels to keep", 0, 100)
      ->group("equalise-white");
  apply->add_flag("--vertical", o->vertical, "Upside down")->group("flip");
  apply->add_flag("--horizontal", o->horizontal, "Left to right")->group("flip");
  apply->add_option("--mask", o->mask, "Frame whose pixels that are not 0 do not count")
      ->group("offset");
  CLI::Option *transposed = apply->get_option("--transposed")->group("remove-dummy");
  apply->add_flag("--keep", o->keep_dummy, "Turn the frame and keep the dummy")
      ->needs(transposed)
      ->group("remove-dummy");
  apply->get_option("--sample-bits")->group("reduce");
  apply->callback([o, apply, &result] { result = run(*apply, *o); });
}

}  // namespace tools
