// orva-fp image inspect: measures and contact sheets of many frames.
#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>

#include <orva_fp/sensor_test.h>

#include "tools/image/contact_sheet.h"
#include "tools/image/image_command.h"
#include "tools/image/report.h"
#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

constexpr char kInspectHelp[] =
    R"(Standard output gets a table with a line per frame, or with --json an array with an object per
frame, or with --csv a row per frame (all measures, null or empty where one does not apply; "error"
tells why a frame cannot be read). With --out each frame gets a contact sheet OUT/FRAME.sheet.png,
or with --panel a picture OUT/FRAME.PANEL.png for each panel. Such pictures are skipped as frames.
A frame of more than 4408 pixels is evaluated in tiles of so many, with the outcome of one piece.
16-bit frames are checked for white noise, freed of their T dummy (row 0 and the middle column), and
shown with the upper 8 of their bits in use: see --sample-bits.)";

struct inspect_job {
  std::vector<std::string> files;
  std::string out;                  // folder of the pictures; empty for none
  std::vector<std::string> panels;  // single ones in place of the contact sheet
  report_form form = report_form::kTable;
  inspect_settings settings;
};

// Lines on standard error and, on a terminal, below them how far a long batch is.
class progress {
 public:
  explicit progress(size_t total) : total_(total), shown_(total > 1 && isatty(STDERR_FILENO)) {}

  void note(const std::string &line) {
    const std::lock_guard lock(mutex_);
    if (shown_) fputs(kWipe, stderr);
    complain(line);
  }
  void step() {
    const std::lock_guard lock(mutex_);
    const std::string text =
        ++done_ < total_ ? fmt::format("\r{} of {} frames", done_, total_) : kWipe;
    if (shown_) print(stderr, "{}", text);
  }

 private:
  static constexpr char kWipe[] = "\r\033[K";
  std::mutex mutex_;
  size_t done_ = 0;
  const size_t total_;
  const bool shown_;
};

// What the pictures of each frame begin with; frames of one name in several folders are numbered.
std::vector<fs::path> picture_paths(const inspect_job &job) {
  std::set<std::string> taken;
  std::vector<fs::path> paths;
  for (const std::string &file : job.files) {
    const std::string plain =
        file == kStandardStream ? "stdin" : fs::path(file).filename().string();
    std::string name = plain;
    for (int count = 2; !taken.insert(name).second; ++count) {
      name = fmt::format("{}-{}", plain, count);
    }
    paths.push_back(fs::path(job.out) / name);
  }
  return paths;
}

struct outcome {
  json measures;  // null for a frame that is left out
  exit_status status = kPass;
};

void draw(const inspect_job &job, const std::string &file, const fs::path &picture,
          const analysis &a, json &measures) {
  const std::string title = printable(fs::path(file).filename());
  if (job.panels.empty()) {
    const std::string sheet = picture.string() + ".sheet.png";
    write_contact_sheet(sheet, title, a);
    measures["sheet"] = sheet;
  }
  for (const std::string &panel : job.panels) {
    const std::string sheet = fmt::format("{}.{}.png", picture.string(), panel);
    write_contact_sheet(sheet, title, a, panel);
    measures["panels"].push_back(sheet);
  }
}

outcome inspect_one(const inspect_job &job, const std::string &file, const fs::path &picture,
                    progress &show) {
  outcome result;
  const auto fail = [&](exit_status status, const std::string &what) {
    show.note(what);
    result.status = status;
    if (status == kBadFrame) result.measures = {{"file", file}, {"error", what}};
  };
  try {
    const analysis a = analyse(file, load_frame(file, job.settings.layout), job.settings);
    result.measures = a.measures;
    if (!job.out.empty()) draw(job, file, picture, a, result.measures);
  } catch (const sheet_error &error) {
    show.note(error.what() + std::string("; skipped"));
  } catch (const command_error &error) {
    fail(error.status, error.what());
  } catch (const std::exception &error) {  // one that does not fit the memory
    fail(kBadFrame, fmt::format("{}: {}", printable(file), error.what()));
  }
  show.step();
  return result;
}

// Inspects the frames on all processors and prints their measures in the order of the files. What
// is wrong with a frame goes to standard error, and the others are inspected all the same; the
// tool's own sheets are left out. Throws command_error when the folder cannot be made.
exit_status inspect(const inspect_job &job) {
  if (!job.out.empty()) prepare_output_folder(job.out);
  const std::vector<fs::path> pictures = picture_paths(job);
  std::vector<outcome> outcomes(job.files.size());
  {
    progress show(job.files.size());
    std::atomic<size_t> next = 0;
    const auto work = [&] {
      for (size_t i; (i = next++) < job.files.size();) {
        outcomes[i] = inspect_one(job, job.files[i], pictures[i], show);
      }
    };
    const size_t workers =
        std::min<size_t>(std::max(std::thread::hardware_concurrency(), 1u), job.files.size());
    std::vector<std::jthread> threads;
    for (size_t i = 1; i < workers; ++i) threads.emplace_back(work);
    work();
  }

  json measures = json::array();
  exit_status status = kPass;
  for (outcome &o : outcomes) {
    if (!o.measures.is_null()) measures.push_back(std::move(o.measures));
    // The worst in the order output, frame.
    if (o.status == kBadOutput || status == kPass) status = o.status;
  }
  print(stdout, "{}", report(measures, job.form));
  return status;
}

}  // namespace

exit_status inspect_data_file(const std::string &folder, int32_t width, int32_t height) {
  inspect_job job;
  job.files = {folder + "/" ORVA_FP_DATA_FILE};
  job.out = folder;
  job.settings.layout = {width, height, 8};
  const exit_status status = inspect(job);
  if (status != kBadFrame) print(stdout, "contact sheet: {}.sheet.png\n", job.files[0]);
  return status;
}

void add_inspect_command(CLI::App *image, exit_status &result) {
  const auto job = std::make_shared<inspect_job>();
  CLI::App *command = image->add_subcommand("inspect", "Measures frames and draws what was found");
  command->footer(std::string(kInspectHelp) + "\n\n" + kExitStatuses);
  command->add_option("frames", job->files, "Frames to inspect")->required()->type_name("FRAME");
  CLI::Option *out =
      command->add_option("--out", job->out, "Folder of the pictures; created if missing");
  command->add_option("--panel", job->panels, "Draw this panel, and large, in place of the sheet")
      ->check(CLI::IsMember(panel_names()))
      ->needs(out);
  CLI::Option *as_json = command->add_flag(
      "--json", [job](int64_t) { job->form = report_form::kJson; }, "Print all measures as JSON");
  command
      ->add_flag(
          "--csv", [job](int64_t) { job->form = report_form::kCsv; }, "Print all measures as CSV")
      ->excludes(as_json);
  add_frame_options(command, job->settings);
  command->callback([job, &result] { result = inspect(*job); });
}

}  // namespace tools
