// The files that a sensor test leaves in its folder: what must be in them and what is.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include <orva_fp/sensor_test.h>

namespace tools {

class result_files {
 public:
  result_files(const std::filesystem::path &folder, int32_t script);

  const std::filesystem::path &log() const { return log_; }
  const std::filesystem::path &data() const { return data_; }
  bool has_log() const { return saves_; }  // SNR1 saves nothing

  // Removes what an earlier run left and this one will not renew.
  void remove_old() const;

  // Remembers what the library is to save of a reply.
  void expect(const sensor_test_reply &reply);

  // Every file that does not hold that, with the reason.
  std::vector<std::string> problems() const;

  std::vector<std::string> log_lines() const;

  // The verdict of the log, its line that begins with RESULT, with single blanks; empty without
  // one.
  std::string verdict() const;

  // Whether the log has the text as a line of its own, blanks not counted.
  bool log_has_line(const std::string &text) const;

 private:
  std::filesystem::path log_;
  std::filesystem::path data_;
  bool saves_;
  std::optional<std::string> text_;  // of the log, after the date; nothing when none is saved
  std::string bytes_;                // of the data file; nothing is saved when empty
};

}  // namespace tools
