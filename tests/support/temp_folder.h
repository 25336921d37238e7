// A folder that a test has to itself.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace support {

class temp_folder {
 public:
  temp_folder() {
    std::string name = std::filesystem::temp_directory_path() / "orva_fp_test_XXXXXX";
    if (mkdtemp(name.data()) == nullptr) abort();
    path_ = name;
  }
  temp_folder(const temp_folder &) = delete;
  temp_folder &operator=(const temp_folder &) = delete;
  ~temp_folder() { std::filesystem::remove_all(path_); }

  const std::filesystem::path &path() const { return path_; }
  std::string operator/(const std::string &name) const { return (path_ / name).string(); }

  std::string contents(const std::string &name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Names of the files in it, sorted.
  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(path_)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }
  std::map<std::string, std::string> all_contents() const {
    std::map<std::string, std::string> all;
    for (const std::string &name : files()) all[name] = contents(name);
    return all;
  }

 private:
  std::filesystem::path path_;
};

// Number of descriptors that the process has open.
inline size_t open_descriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return static_cast<size_t>(std::distance(begin(entries), end(entries)));
}

}  // namespace support
