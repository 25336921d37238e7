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
  std::string out;
  std::string as;
  raw_layout layout;
  int32_t delta = NOISE_DEFAULT_DELTA;
  int32_t white_percent = HISTEQ_DEFAULT_WHITE_PERCENT;
  bool vertical = false;
  bool horizontal = false;
  bool transposed = false;
  bool keep = false;
  int32_t sample_bits = 0;
  std::string mask;
};

// A filter's part of the work on one file.
struct task {
  const options &o;
  const std::string &in;
  FILE *lines;  // for what there is to tell
  frame &f;
};

void remove_dummy(const task &t) {
  frame &f = t.f;
  if (t.o.transposed) std::swap(f.width, f.height);
  const int32_t width = f.width - (t.o.keep ? 0 : 1), height = f.height - (t.o.keep ? 0 : 1);
  if (width < 1 || height < 1) throw frame_error(t.in, "nothing is left without the T dummy");
  std::vector<uint16_t> kept(static_cast<size_t>(width) * static_cast<size_t>(height));
  if (t.o.transposed) {
    transpose_remove_T_dummy(f.samples.data(), f.width, f.height, t.o.keep ? 1 : 0, kept.data());
  } else {
    remove_T_dummy(f.samples.data(), f.width, f.height, kept.data());
  }
  f = {width, height, {}, std::move(kept), f.sample_bits};
}

void offset(const task &t) {
  frame &f = t.f;
  frame mask{f.width, f.height, std::vector<uint8_t>(f.size()), {}};
  if (!t.o.mask.empty()) {
    mask = load_frame(t.o.mask, {f.width, f.height, 8});
    if (mask.is_raw() || mask.width != f.width || mask.height != f.height) {
      throw frame_error(t.o.mask, "a mask must have 8 bits and the size of the frame");
    }
    // 255 is how a picture of a mask says 1.
    for (uint8_t &m : mask.pixels) m = m != 0 ? 1 : 0;
  }
  print(t.lines, "{}: {} subtracted\n", printable(t.in),
        offset_min(f.pixels.data(), mask.pixels.data(), f.width, f.height));
}

struct filter {
  const char *name;
  const char *text;
  std::vector<const char *> options;
  void (*apply)(const task &);
  bool from_samples = false;  // takes frames of 16 bits
  bool to_samples = false;
};

const filter kFilters[] = {
    {"median",
     "3 x 3 median of every pixel",
     {},
     [](const task &t) {
       std::vector<uint8_t> work(t.f.size());
       median_filter(t.f.pixels.data(), work.data(), t.f.width, t.f.height);
     }},
    {"remove-noise",
     "3 x 3 median of the spikes only",
     {"--delta"},
     [](const task &t) {
       print(t.lines, "{}: {} pixels replaced\n", printable(t.in),
             remove_noise_use_median_filter(t.f.pixels.data(), t.f.width, t.f.height, t.o.delta));
     }},
    {"equalise",
     "histogram equalisation",
     {},
     [](const task &t) { histeq(t.f.pixels.data(), t.f.width, t.f.height); }},
    {"equalise-white",
     "equalisation that keeps the brightest pixels",
     {"--white-percent"},
     [](const task &t) {
       histeq_white(t.f.pixels.data(), t.f.width, t.f.height, t.o.white_percent);
     }},
    {"invert",
     "every level v becomes 255 - v",
     {},
     [](const task &t) { image_reverse(t.f.pixels.data(), t.f.width, t.f.height); }},
    {"flip",
     "turns the frame over, with both options half a turn",
     {"--vertical", "--horizontal"},
     [](const task &t) {
       if (t.o.vertical) flip_vertical(t.f.pixels.data(), t.f.width, t.f.height);
       if (t.o.horizontal) flip_horizontal(t.f.pixels.data(), t.f.width, t.f.height);
     }},
    {"offset", "subtracts the smallest level", {"--mask"}, offset},
    {"remove-dummy",
     "16-bit frame without row 0 and the middle column",
     {"--transposed", "--keep"},
     remove_dummy,
     true,
     true},
    {"reduce",
     "8 bits out of 16: the upper 8 of those in use",
     {"--sample-bits"},
     [](const task &t) {
       t.f.pixels =
           upper_bits(t.f.samples, t.o.sample_bits != 0 ? t.o.sample_bits : t.f.sample_bits);
       t.f.samples.clear();
     },
     true,
     false},
};

std::string depth(bool samples) { return samples ? "16 bits" : "8 bits"; }

// The leading words that name a filter do; the rest are files.
std::vector<const filter *> take_filters(std::vector<std::string> &words) {
  std::vector<const filter *> filters;
  for (const std::string &word : words) {
    const auto *named = std::ranges::find(kFilters, word, &filter::name);
    if (named == std::end(kFilters)) break;
    if (!filters.empty() && filters.back()->to_samples != named->from_samples) {
      throw command_error(kBadUsage,
                          fmt::format("{} takes frames of {}, which {} does not give", word,
                                      depth(named->from_samples), filters.back()->name));
    }
    filters.push_back(named);
  }
  if (filters.empty()) {
    throw command_error(kBadUsage, fmt::format("{} is no filter; see --help", words[0]));
  }
  words.erase(words.begin(), words.begin() + std::ssize(filters));
  return filters;
}

void need_own_options(const CLI::App &apply, const std::vector<const filter *> &filters) {
  for (const filter &f : kFilters) {
    if (std::ranges::find(filters, &f) != filters.end()) continue;
    for (const char *option : f.options) {
      if (apply.count(option) == 0) continue;
      throw command_error(kBadUsage, fmt::format("{} goes with {}", option, f.name));
    }
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
  if (apply.count("--vertical") + apply.count("--horizontal") == 0 &&
      std::ranges::find(filters, std::string_view("flip"), &filter::name) != filters.end()) {
    throw command_error(kBadUsage, "flip needs --vertical or --horizontal");
  }
  if (o.out.empty()) {
    if (files.size() != 2) throw command_error(kBadUsage, "give IN and OUT, or frames and --out");
    apply_to(o, filters, files[0], files[1]);
    return kPass;
  }

  if (files.empty()) throw command_error(kBadUsage, "there is no frame for --out");
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
      print(stderr, "orva-fp: {}\n", error.what());
      if (status != kBadOutput) status = error.status();
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
  for (const filter &f : kFilters) {
    help += fmt::format("  {:<15} {}{}{}\n", f.name, f.text, f.options.empty() ? "" : "; ",
                        fmt::join(f.options, ", "));
  }
  apply->footer(help + "\n" + kExitStatuses);
  apply->add_option("words", o->words, "Filters, then files")
      ->required()
      ->type_name("FILTER... IN");
  apply->add_option("--out", o->out, "Folder for the results, under the frames' names");
  apply->add_option("--as", o->as, "Format of the results, whatever their names")
      ->check(CLI::IsMember({"png", "pgm", "bmp", "raw", "bin"}));
  add_layout_options(apply, o->layout);
  apply->add_option("--delta", o->delta, "Margin by which a spike stands out")
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  apply->add_option("--white-percent", o->white_percent, "Share of pixels to keep")
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  apply->add_flag("--vertical", o->vertical, "Upside down");
  apply->add_flag("--horizontal", o->horizontal, "Left to right");
  apply->add_flag("--transposed", o->transposed, "The frame is stored column by column");
  apply->add_flag("--keep", o->keep, "Turn the frame and keep the dummy")
      ->needs(apply->get_option("--transposed"));
  apply
      ->add_option("--sample-bits", o->sample_bits, "Bits in use; else what the format says, or 16")
      ->check(CLI::Range(8, 16));
  apply->add_option("--mask", o->mask, "Frame whose pixels that are not 0 do not count");
  apply->callback([o, apply, &result] { result = run(*apply, *o); });
}

}  // namespace tools
