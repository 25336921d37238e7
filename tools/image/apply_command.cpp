// orva-fp image apply: image functions, one after another, from files into files.
#include <algorithm>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <orva_fp/image.h>

#include "tools/image/image_command.h"
#include "tools/image/text.h"
#include "tools/output_folder.h"

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

// Changes the frame and returns what there is to tell about it.
using operation = std::string(const options &, const std::string &file, frame &);

std::string median(const options &, const std::string &, frame &f) {
  std::vector<uint8_t> work(f.pixels.size());
  median_filter(f.pixels.data(), work.data(), f.width, f.height);
  return "";
}

std::string remove_noise(const options &o, const std::string &, frame &f) {
  return fmt::format("{} pixels replaced",
                     remove_noise_use_median_filter(f.pixels.data(), f.width, f.height, o.delta));
}

std::string equalise(const options &, const std::string &, frame &f) {
  histeq(f.pixels.data(), f.width, f.height);
  return "";
}

std::string equalise_white(const options &o, const std::string &, frame &f) {
  histeq_white(f.pixels.data(), f.width, f.height, o.white_percent);
  return "";
}

std::string invert(const options &, const std::string &, frame &f) {
  image_reverse(f.pixels.data(), f.width, f.height);
  return "";
}

std::string flip(const options &o, const std::string &, frame &f) {
  const int mode = (o.vertical ? FLIP_VERTICAL : 0) | (o.horizontal ? FLIP_HORIZONTAL : 0);
  images_flips(f.pixels.data(), f.width, f.height, 1, static_cast<uint8_t>(mode));
  return "";
}

std::string remove_dummy(const options &o, const std::string &file, frame &f) {
  if (o.transposed) std::swap(f.width, f.height);
  const int32_t width = f.width - (o.keep ? 0 : 1), height = f.height - (o.keep ? 0 : 1);
  if (width < 1 || height < 1) throw frame_error(file, "nothing is left without the T dummy");
  std::vector<uint16_t> kept(static_cast<size_t>(width) * static_cast<size_t>(height));
  if (o.transposed) {
    transpose_remove_T_dummy(f.samples.data(), f.width, f.height, o.keep ? 1 : 0, kept.data());
  } else {
    remove_T_dummy(f.samples.data(), f.width, f.height, kept.data());
  }
  f = {width, height, {}, std::move(kept), f.sample_bits};
  return "";
}

std::string reduce(const options &o, const std::string &, frame &f) {
  f.pixels = upper_bits(f.samples, o.sample_bits != 0 ? o.sample_bits : f.sample_bits);
  f.samples.clear();
  return "";
}

std::string offset(const options &o, const std::string &, frame &f) {
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
  return fmt::format("{} subtracted",
                     offset_min(f.pixels.data(), mask.pixels.data(), f.width, f.height));
}

struct filter {
  const char *name;
  const char *text;
  operation *apply;
  bool from_samples = false;  // takes frames of 16 bits
  bool to_samples = false;
};

constexpr filter kFilters[] = {
    {"median", "3 x 3 median of every pixel", median},
    {"remove-noise", "3 x 3 median of the spikes only; --delta", remove_noise},
    {"equalise", "histogram equalisation", equalise},
    {"equalise-white", "equalisation that keeps the brightest pixels; --white-percent",
     equalise_white},
    {"invert", "every level v becomes 255 - v", invert},
    {"flip", "turns the frame over, with both options half a turn; --vertical, --horizontal", flip},
    {"offset", "subtracts the smallest level; --mask", offset},
    {"remove-dummy", "16-bit frame without row 0 and the middle column; --transposed, --keep",
     remove_dummy, true, true},
    {"reduce", "8 bits out of 16: the upper 8 of those in use; --sample-bits", reduce, true, false},
};

const filter *find_filter(const std::string &name) {
  const auto *found = std::ranges::find(kFilters, name, &filter::name);
  return found == std::end(kFilters) ? nullptr : found;
}

std::string depth(bool samples) { return samples ? "16 bits" : "8 bits"; }

struct job {
  const options &o;
  std::vector<const filter *> filters;

  void run(const std::string &in, const std::string &out) const {
    const std::string format = output_format(out, o.as, filters.back()->to_samples);
    frame f = load_frame(in, o.layout);
    if (f.is_raw() != filters[0]->from_samples) {
      throw frame_error(in, fmt::format("{} takes frames of {}", filters[0]->name,
                                        depth(filters[0]->from_samples)));
    }
    std::vector<std::string> notes;
    for (const filter *step : filters) {
      if (std::string note = step->apply(o, in, f); !note.empty()) notes.push_back(note);
    }
    save_frame(out, format, f);
    for (const std::string &note : notes) {
      print(lines_beside(out), "{}: {}\n", printable(in), note);
    }
  }
};

// The leading words that name a filter do; the rest are files.
job plan(const options &o, std::vector<std::string> &files) {
  job j{o, {}};
  for (const std::string &word : o.words) {
    const filter *named = files.empty() ? find_filter(word) : nullptr;
    if (named != nullptr) {
      if (!j.filters.empty() && j.filters.back()->to_samples != named->from_samples) {
        throw command_error(
            kBadUsage, fmt::format("{} takes frames of {}, which {} does not give", named->name,
                                   depth(named->from_samples), j.filters.back()->name));
      }
      j.filters.push_back(named);
    } else {
      files.push_back(word);
    }
  }
  if (j.filters.empty()) {
    throw command_error(kBadUsage, fmt::format("{} is no filter; see --help", o.words[0]));
  }
  return j;
}

exit_status run(const options &o) {
  std::vector<std::string> files;
  const job j = plan(o, files);
  if (o.out.empty()) {
    if (files.size() != 2) throw command_error(kBadUsage, "give IN and OUT, or frames and --out");
    j.run(files[0], files[1]);
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
      j.run(in, out);
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
      "image apply FILTER... IN OUT\nimage apply FILTER... IN... --out FOLDER\n\n"
      "OUT is written in the format of its extension: .png, .pgm, .bmp, .raw or "
      ".bin.\n\nFilters:\n";
  for (const filter &f : kFilters) help += fmt::format("  {:<15} {}\n", f.name, f.text);
  apply->footer(help);
  apply->add_option("words", o->words, "Filters, then files")
      ->required()
      ->type_name("FILTER... IN");
  apply->add_option("--out", o->out, "Folder for the results, under the frames' names");
  apply->add_option("--as", o->as, "Format of the results, whatever their names")
      ->check(CLI::IsMember({"png", "pgm", "bmp", "raw", "bin"}));
  add_layout_options(apply, o->layout);

  std::vector<std::pair<CLI::Option *, std::string>> owners;
  const auto of = [&](const char *filter, CLI::Option *option) {
    owners.emplace_back(option, filter);
    return option;
  };
  of("remove-noise", apply->add_option("--delta", o->delta, "Margin by which a spike stands out"))
      ->check(CLI::Range(0, 255))
      ->capture_default_str();
  of("equalise-white", apply->add_option("--white-percent", o->white_percent, "Share to keep"))
      ->check(CLI::Range(0, 100))
      ->capture_default_str();
  of("flip", apply->add_flag("--vertical", o->vertical, "Upside down"));
  of("flip", apply->add_flag("--horizontal", o->horizontal, "Left to right"));
  CLI::Option *transposed =
      of("remove-dummy", apply->add_flag("--transposed", o->transposed, "Stored column by column"));
  of("remove-dummy", apply->add_flag("--keep", o->keep, "Turn the frame only"))->needs(transposed);
  of("reduce", apply->add_option("--sample-bits", o->sample_bits,
                                 "Bits in use; else what the format says, or 16"))
      ->check(CLI::Range(8, 16));
  of("offset", apply->add_option("--mask", o->mask, "Pixels of it that are not 0 do not count"));
  apply->callback([o, owners, &result] {
    const auto given = [&](const std::string &word) {
      return std::ranges::find(o->words, word) != o->words.end();
    };
    for (const auto &[option, filter] : owners) {
      if (option->count() != 0 && !given(filter)) {
        throw command_error(kBadUsage, option->get_name() + " goes with " + filter);
      }
    }
    if (given("flip") && !o->vertical && !o->horizontal) {
      throw command_error(kBadUsage, "flip needs --vertical or --horizontal");
    }
    result = run(*o);
  });
}

}  // namespace tools
