#include "tools/image/inspect.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>
#include <unistd.h>

#include "tools/image/contact_sheet.h"
#include "tools/image/report.h"
#include "tools/output_folder.h"

namespace tools {

namespace {

namespace fs = std::filesystem;
using json = nlohmann::ordered_json;

// Lines on standard error and, on a terminal, below them how far a long batch is.
class progress {
 public:
  explicit progress(size_t total) : total_(total), shown_(total > 1 && isatty(STDERR_FILENO)) {}
  ~progress() { wipe(); }

  void note(const std::string &line) {
    const std::lock_guard lock(mutex_);
    wipe();
    fprintf(stderr, "orva-fp: %s\n", line.c_str());
  }
  void step() {
    const std::lock_guard lock(mutex_);
    ++done_;
    if (shown_) fprintf(stderr, "\r%zu of %zu frames", done_, total_);
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

// FRAME.png in OUT for each frame; frames of one name in several folders are numbered.
std::vector<fs::path> sheet_paths(const inspect_job &job) {
  std::map<std::string, int> seen;
  std::vector<fs::path> paths;
  for (const std::string &file : job.files) {
    std::string name = fs::path(file).filename().string();
    const int count = ++seen[name];
    if (count > 1) name += "-" + std::to_string(count);
    paths.push_back(fs::path(job.out) / (name + ".sheet.png"));
  }
  return paths;
}

struct outcome {
  json measures;
  exit_status status = kPass;
};

outcome inspect_one(const inspect_job &job, const std::string &file, const fs::path &sheet,
                    progress &show) {
  outcome result;
  const auto fail = [&](exit_status status, const std::string &what) {
    show.note(what);
    result.status = status;
  };
  try {
    const analysis a = analyse(file, load_frame(file, job.settings.layout), job.settings);
    result.measures = to_json(file, a);
    if (!a.evaluation) {
      fail(kNotEvaluated, file + ": " + std::to_string(a.shown.width) + " x " +
                              std::to_string(a.shown.height) + " is more than the " +
                              std::to_string(EVAL_MARK_MAP_SIZE) +
                              " pixels that the evaluation takes; measured without it");
    }
    if (!job.out.empty()) {
      try {
        write_contact_sheet(sheet, fs::path(file).filename().string(), a, job.settings);
        result.measures["sheet"] = sheet.string();
      } catch (const frame_error &error) {
        fail(kBadOutput, error.what());
      }
    }
  } catch (const std::exception &error) {  // also one that does not fit the memory
    const std::string what = dynamic_cast<const frame_error *>(&error) != nullptr
                                 ? error.what()
                                 : file + ": " + error.what();
    fail(kBadFrame, what);
    result.measures = to_json(file, what);
  }
  show.step();
  return result;
}

}  // namespace

exit_status inspect(const inspect_job &job) {
  if (!job.out.empty()) prepare_output_folder(job.out);
  const std::vector<fs::path> sheets = sheet_paths(job);
  std::vector<outcome> outcomes(job.files.size());
  {
    progress show(job.files.size());
    std::atomic<size_t> next = 0;
    const auto work = [&] {
      for (size_t i; (i = next++) < job.files.size();) {
        outcomes[i] = inspect_one(job, job.files[i], sheets[i], show);
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
    measures.push_back(std::move(o.measures));
    // The worst in the order output, frame, evaluation.
    constexpr exit_status kOrder[] = {kPass, kNotEvaluated, kBadFrame, kBadOutput};
    const auto rank = [&](exit_status s) {
      return std::find(std::begin(kOrder), std::end(kOrder), s);
    };
    if (rank(o.status) > rank(status)) status = o.status;
  }
  std::cout << (job.json ? measures.dump(2, ' ', false, json::error_handler_t::replace) + "\n"
                         : to_table(measures));
  return status;
}

}  // namespace tools
