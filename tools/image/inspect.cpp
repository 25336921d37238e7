#include "tools/image/inspect.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <mutex>
#include <set>
#include <thread>
#include <unistd.h>

#include "tools/image/contact_sheet.h"
#include "tools/image/text.h"
#include "tools/output_file.h"

namespace tools {

namespace {

namespace fs = std::filesystem;

// Lines on standard error and, on a terminal, below them how far a long batch is.
class progress {
 public:
  explicit progress(size_t total) : total_(total), shown_(total > 1 && isatty(STDERR_FILENO)) {}
  ~progress() { wipe(); }

  void note(const std::string &line) {
    const std::lock_guard lock(mutex_);
    wipe();
    print(stderr, "orva-fp: {}\n", line);
  }
  void step() {
    const std::lock_guard lock(mutex_);
    ++done_;
    if (shown_) print(stderr, "\r{} of {} frames", done_, total_);
  }

 private:
  void wipe() const {
    if (shown_) fputs("\r\033[K", stderr);
  }

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
  bool tiled = false;
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
    result.tiled = a.measures.at("tiles") > 1;
    if (!job.out.empty()) draw(job, file, picture, a, result.measures);
  } catch (const sheet_error &error) {
    show.note(error.what() + std::string("; skipped"));
  } catch (const command_error &error) {
    fail(error.status(), error.what());
  } catch (const std::exception &error) {  // one that does not fit the memory
    fail(kBadFrame, fmt::format("{}: {}", printable(file), error.what()));
  }
  show.step();
  return result;
}

}  // namespace

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
    std::vector<std::thread> threads;
    for (size_t i = 1; i < workers; ++i) threads.emplace_back(work);
    work();
    for (std::thread &t : threads) t.join();
  }

  json measures = json::array();
  exit_status status = kPass;
  for (outcome &o : outcomes) {
    if (!o.measures.is_null()) measures.push_back(std::move(o.measures));
    // The worst in the order output, frame.
    if (o.status == kBadOutput || status == kPass) status = o.status;
  }
  const auto tiled = std::ranges::count(outcomes, true, &outcome::tiled);
  if (tiled != 0) {
    print(stderr, "orva-fp: {} of {} frames: evaluated in tiles of at most {} pixels\n", tiled,
          outcomes.size(), EVAL_MARK_MAP_SIZE);
  }
  const std::string text = report(measures, job.form);
  write_output_file(kStandardStream, std::vector<uint8_t>(text.begin(), text.end()));
  return status;
}

}  // namespace tools
