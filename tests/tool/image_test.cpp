// orva-fp image, run as a process: verdicts on frames with known defects, formats, bad input.
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

#include "simulator/synthetic_frame.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using simulator::synthetic_frame;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

constexpr int kPass = 0, kBadUsage = 2, kBadOutput = 4, kBadFrame = 6, kNotEvaluated = 7;

struct run_result {
  int status;
  std::string out;
  std::string err;
};

class ImageTool : public testing::Test {
 protected:
  ImageTool() {
    std::string name = (fs::temp_directory_path() / "orva_image_XXXXXX").string();
    folder = mkdtemp(name.data());
  }
  ~ImageTool() override { fs::remove_all(folder); }

  std::string contents(const fs::path &file) {
    std::ifstream stream(folder / file, std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return bytes.str();
  }
  void write(const fs::path &file, const std::string &bytes) {
    std::ofstream(folder / file, std::ios::binary) << bytes;
  }

  // Runs orva-fp image in the folder.
  run_result run(const std::string &arguments) {
    const std::string command =
        "cd " + folder.string() + " && " ORVA_TEST_TOOL " image " + arguments + " >.out 2>.err";
    const int status = std::system(command.c_str());
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, contents(".out"), contents(".err")};
  }

  void must(const std::string &arguments) {
    const run_result r = run(arguments);
    ASSERT_EQ(r.status, kPass) << arguments << "\n" << r.err;
    ASSERT_EQ(r.err, "") << arguments;
  }

  json inspect(const std::string &arguments, int status = kPass) {
    const run_result r = run("inspect --json " + arguments);
    EXPECT_EQ(r.status, status) << arguments << "\n" << r.err;
    return json::parse(r.out, nullptr, false);
  }

  fs::path folder;
};

TEST_F(ImageTool, VerdictsTurnWithTheDefect) {
  struct {
    const char *synth;
    json expected;
  } const cases[] = {
      {"", {{"defect_found", 0}, {"max_run", 0}, {"is_water", 0}, {"noise", 0}}},
      {"--dead-line 25", {{"defect_found", 1}, {"max_run", 25}, {"low_count", 25}, {"run_x", 20},
                             {"run_y", 24}, {"run_step", {1, 0}}, {"is_water", 0}}},
      {"--dead-line 19", {{"defect_found", 0}, {"max_run", 19}}},
      {"--dead-line 20 --dead-line-direction down-left --dead-line-at 40,5 "
       "--dead-line-level bright",
          {{"defect_found", 1}, {"max_run", 20}, {"high_count", 20}, {"run_x", 40}, {"run_y", 5},
              {"run_step", {-1, 1}}}},
      {"--cluster 2", {{"defect_found", 1}, {"max_run", 20}, {"clusters", 1}, {"high_count", 4}}},
      {"--water 21", {{"is_water", 1}, {"dark_rows", 21}, {"dark_columns", 0}}},
      {"--water 20", {{"is_water", 0}, {"dark_rows", 20}}},
      {"--water 21 --water-columns", {{"is_water", 1}, {"dark_rows", 0}, {"dark_columns", 21}}},
      {"--pattern flat --salt-pepper 3",
          {{"strong_spikes", 3}, {"strong_spike_limit", 3}, {"noise", 0}}},
      {"--pattern flat --salt-pepper 4", {{"strong_spikes", 4}, {"noise", 1}}},
      {"--pattern flat --salt-pepper 101",
          {{"delta_spikes", 101}, {"spikes_removed", 101}, {"noise", 3}}},
      {"--pattern flat --saturate 7", {{"high_count", 7}, {"white_noise", nullptr}}},
  };
  for (const auto &[synth, expected] : cases) {
    SCOPED_TRACE(synth);
    must(std::string("synth frame.png ") + synth);
    const json frames = inspect("frame.png");
    ASSERT_EQ(frames.size(), 1u);
    for (const auto &[key, value] : expected.items()) EXPECT_EQ(frames[0][key], value) << key;
  }
}

TEST_F(ImageTool, WhiteNoiseOfRawFramesIsFoundBeforeTheDummyGoes) {
  must("synth clean.raw --bits 16 --dummy --saturate 99");
  must("synth noisy.raw --bits 16 --dummy --saturate 100");
  must("synth plain.png --saturate 99");
  const json frames =
      inspect("--width 65 --height 65 clean.raw noisy.raw").get<std::vector<json>>();
  EXPECT_EQ(frames[0]["white_noise"], 0);
  EXPECT_EQ(frames[1]["white_noise"], 1);
  EXPECT_EQ(frames[0]["saturated"], 99);

  // 12 bits become the 8 they were made of, and only the dummy is missing.
  const json plain = inspect("plain.png")[0];
  for (const char *key : {"width", "height", "mean", "minimum", "std_dev", "high_count"}) {
    EXPECT_EQ(frames[0][key], plain[key]) << key;
  }
  const json kept = inspect("--width 65 --height 65 --keep-dummy clean.raw")[0];
  EXPECT_EQ(kept["width"], 65);
}

TEST_F(ImageTool, EveryFormatHoldsTheSameFrame) {
  // The width is no multiple of 4: rows of the BMP have fill bytes.
  const synthetic_frame frame(47, 31, 9);
  const std::string pixels(frame.pixels().begin(), frame.pixels().end());
  write("in.raw", pixels);
  const std::string size = " --width 47 --height 31";
  std::string from = "in.raw";
  for (const std::string to : {"a.bmp", "b.png", "c.pgm", "d.raw"}) {
    must("apply invert " + from + " t.pgm" + size);
    must("apply invert t.pgm " + to);
    from = to;
  }
  EXPECT_EQ(contents("d.raw"), pixels);

  // A top-down BMP is stored upright.
  std::string bmp = contents("a.bmp"), upright = bmp.substr(0, 1078);
  for (size_t row = 31; row-- > 0;) upright += bmp.substr(1078 + row * 48, 48);
  for (size_t i = 0; i < 4; ++i) upright[22 + i] = static_cast<char>(-31 >> (8 * i));
  write("top_down.bmp", upright);
  must("apply flip --vertical --horizontal top_down.bmp turned.raw");
  EXPECT_EQ(contents("turned.raw"), std::string(pixels.rbegin(), pixels.rend()));
}

TEST_F(ImageTool, ApplyHandsItsParametersOn) {
  write("line.pgm", std::string("P5\n# levels\n4 1 255\n") + "\x0a\x14\x1e\x28");
  must("apply equalise line.pgm out.raw");
  EXPECT_EQ(contents("out.raw"), "\x40\x80\xbf\xff");
  must("apply equalise-white --white-percent 25 line.pgm out.raw");
  EXPECT_EQ(contents("out.raw"), "\x55\xaa\xff\x28");
  must("apply offset line.pgm out.raw");
  EXPECT_EQ(contents("out.raw"), std::string("\x00\x0a\x14\x1e", 4));
  write("mask.raw", std::string("\xff\x00\x00\x00", 4));
  must("apply offset --mask mask.raw line.pgm out.raw");
  EXPECT_EQ(contents("out.raw"), std::string("\xf6\x00\x0a\x14", 4));
  must("apply flip --horizontal line.pgm out.raw");
  EXPECT_EQ(contents("out.raw"), "\x28\x1e\x14\x0a");

  write("spike.raw",
      "dddd"
      "d\x01"
      "2d"
      "dddd");
  must("apply median --width 4 --height 3 spike.raw out.raw");
  EXPECT_EQ(contents("out.raw"), "dddddddddddd");
  const run_result r = run("apply remove-noise --delta 60 --width 4 --height 3 spike.raw out.raw");
  EXPECT_EQ(r.out, "0 pixels replaced\n");

  // Samples 0 to 11, stored as they are and column by column.
  std::string samples, columns;
  for (char i = 0; i < 12; ++i) {
    samples += {i, 0};
    columns += {static_cast<char>(i % 3 * 4 + i / 3), 0};
  }
  write("raw.raw", samples);
  write("turned.raw", columns);
  must("apply remove-dummy --width 4 --height 3 raw.raw out.raw");
  EXPECT_EQ(contents("out.raw"), std::string("\4\0\5\0\7\0\x8\0\x9\0\xb\0", 12));
  must("apply remove-dummy --transposed --width 3 --height 4 turned.raw out2.raw");
  EXPECT_EQ(contents("out2.raw"), contents("out.raw"));
  must("apply remove-dummy --transposed --keep --width 3 --height 4 turned.raw out.pgm");
  EXPECT_THAT(contents("out.pgm"), StartsWith(std::string("P5\n4 3\n65535\n\0\0\0\1\0\2", 19)));
}

TEST_F(ImageTool, BadFrameIsNamedAndTheBatchGoesOn) {
  must("synth good.png");
  must("synth good.bmp --width 10 --height 10");
  must("synth good.pgm --width 10 --height 10");
  const std::string bmp = contents("good.bmp"), png = contents("good.png");
  const auto patched = [](std::string bytes, size_t at, const std::string &with) {
    return bytes.replace(at, with.size(), with);
  };
  const struct {
    const char *file;
    std::string bytes;
    const char *reason;
  } cases[] = {
      {"empty.png", "", "the file is empty"},
      {"text.txt", "no image", "neither BMP nor PNG nor PGM"},
      {"raw.bin", "12345", "raw samples need --width and --height"},
      {"header.bmp", bmp.substr(0, 40), "truncated: 40 bytes instead of 54"},
      {"short.bmp", bmp.substr(0, bmp.size() - 1), "truncated: 1197 bytes instead of 1198"},
      {"colour.bmp", patched(bmp, 28, "\x18"), "a BMP of 24 bits per pixel, not 8"},
      {"packed.bmp", patched(bmp, 30, "\x01"), "a compressed BMP"},
      {"palette.bmp", patched(bmp, 58, "\x09"), "palette"},
      {"wide.bmp", patched(bmp, 18, "\xff\xff\xff\x7f"), "2147483647 x 10 is more than"},
      {"negative.bmp", patched(bmp, 18, "\xff\xff\xff\xff"), "-1 x 10 holds no pixel"},
      {"lowest.bmp", patched(bmp, 22, std::string("\0\0\0\x80", 4)), "10 x 2147483648 is more"},
      {"inside.bmp", patched(bmp, 10, std::string("\x1a\0", 2)), "begin inside its header"},
      {"short.png", png.substr(0, png.size() / 2), "damaged PNG"},
      {"short.pgm", "P5 10 10 255\n123", "truncated: 16 bytes instead of 113"},
      {"header.pgm", "P5 10 ten", "the header lacks a number"},
      {"levels.pgm", "P5 1 1 15\n1", "levels to 15"},
      {"huge.pgm", "P5 99999999999 99999999999 255\n", "is more than the 8405024 pixels"},
  };
  std::string files = "good.png";
  for (const auto &c : cases) {
    write(c.file, c.bytes);
    files += std::string(" ") + c.file;
  }
  fs::create_directory(folder / "folder.png");
  const json frames = inspect("--out sheets " + files + " folder.png none.png good.pgm", kBadFrame);
  ASSERT_EQ(frames.size(), std::size(cases) + 4);

  std::istringstream lines(contents(".err"));
  size_t line_count = 0;
  for (std::string line; std::getline(lines, line); ++line_count) {
    EXPECT_THAT(line, StartsWith("orva-fp: "));
  }
  EXPECT_EQ(line_count, std::size(cases) + 2);
  for (size_t i = 0; i < std::size(cases); ++i) {
    EXPECT_EQ(frames[i + 1]["file"], cases[i].file);
    const std::string error = frames[i + 1].value("error", "");
    EXPECT_THAT(error, StartsWith(std::string(cases[i].file) + ": "));
    EXPECT_THAT(error, HasSubstr(cases[i].reason));
  }
  for (const json &good : {frames.front(), frames.back()}) {
    EXPECT_TRUE(good.contains("mean"));
    EXPECT_TRUE(fs::is_regular_file(folder / good["sheet"].get<std::string>()));
  }
  EXPECT_FALSE(fs::exists(folder / "sheets/text.txt.sheet.png"));
}

TEST_F(ImageTool, FrameTooLargeForTheEvaluationIsMeasuredWithoutIt) {
  must("synth fits.png --width 58 --height 76 --water 22");
  must("synth large.png --width 4409 --height 1");
  const json frames = inspect("--out sheets fits.png large.png", kNotEvaluated);
  EXPECT_EQ(contents(".err"),
      "orva-fp: large.png: 4409 x 1 is more than the 4408 pixels that the evaluation takes; "
      "measured without it\n");
  EXPECT_EQ(frames[0]["max_run"], 0);
  EXPECT_EQ(frames[0]["is_water"], 1);
  EXPECT_EQ(frames[1]["max_run"], nullptr);
  EXPECT_TRUE(frames[1]["otsu_threshold"].is_number_integer());
  EXPECT_TRUE(fs::is_regular_file(folder / "sheets/large.png.sheet.png"));
}

TEST_F(ImageTool, ManyFramesOfManySizesKeepTheirOrderAndMeasures) {
  std::string files;
  std::vector<json> alone;
  for (int i = 0; i < 12; ++i) {
    const std::string name = "f" + std::to_string(i) + ".pgm";
    const std::string width = std::to_string(40 + i), height = std::to_string(67 - i);
    must("synth " + name + " --width " + width + " --height " + height + " --dead-line " +
         std::to_string(10 + i) + " --seed " + std::to_string(i));
    alone.push_back(inspect(name)[0]);
    files += " " + name;
  }
  EXPECT_EQ(inspect(files).get<std::vector<json>>(), alone);
}

TEST_F(ImageTool, FramesOfOneNameGetSheetsOfTheirOwn) {
  fs::create_directory(folder / "a");
  must("synth f.png --cluster 2");
  must("synth a/f.png");
  const json frames = inspect("f.png a/f.png --out .");
  EXPECT_EQ(frames[0]["sheet"], "./f.png.sheet.png");
  EXPECT_EQ(frames[1]["sheet"], "./f.png-2.sheet.png");
  EXPECT_NE(contents("f.png.sheet.png"), contents("f.png-2.sheet.png"));
}

TEST_F(ImageTool, TableHasALinePerFrame) {
  must("synth f.png --dead-line 25");
  const run_result r = run("inspect f.png f.png none.png");
  EXPECT_EQ(r.status, kBadFrame);
  std::istringstream lines(r.out);
  std::string title, first, second, rest;
  std::getline(lines, title);
  std::getline(lines, first);
  std::getline(lines, second);
  EXPECT_THAT(title, StartsWith("file   width"));
  EXPECT_THAT(first, StartsWith("f.png     64      64"));
  EXPECT_EQ(title.size(), first.size());
  EXPECT_EQ(first, second);
  EXPECT_FALSE(std::getline(lines, rest)) << rest;
}

TEST_F(ImageTool, SameSeedSameBytes) {
  must("synth a.raw --saturate 30 --salt-pepper 30 --seed 5");
  must("synth b.raw --saturate 30 --salt-pepper 30 --seed 5");
  must("synth c.raw --saturate 30 --salt-pepper 30 --seed 6");
  EXPECT_EQ(contents("a.raw"), contents("b.raw"));
  EXPECT_NE(contents("a.raw"), contents("c.raw"));
}

TEST_F(ImageTool, BadArgumentsAndOutputsGiveOneLineAndTheirStatus) {
  must("synth f.png");
  must("synth f.raw --bits 16");
  write("file", "");
  const struct {
    const char *arguments;
    int status;
    const char *line;
  } cases[] = {
      {"", kBadUsage, "sub-command"},
      {"inspect", kBadUsage, "frames"},
      {"inspect f.png --block 0", kBadUsage, "--block"},
      {"inspect f.png --out file", kBadOutput, "output folder file: Not a directory"},
      {"inspect f.png --out none/deep", kBadOutput, "output folder none/deep: No such file"},
      {"apply", kBadUsage, "sub-command"},
      {"apply flip f.png o.png", kBadUsage, "--vertical or --horizontal"},
      {"apply median f.png o.jpg", kBadOutput, "o.jpg: the extension must be"},
      {"apply median f.png none/o.png", kBadOutput, "none/o.png: cannot be written"},
      {"apply median none.png o.png", kBadFrame, "none.png: No such file"},
      {"apply median f.raw o.png --width 64 --height 64", kBadFrame, "frames of 8 bits"},
      {"apply remove-dummy f.png o.raw", kBadFrame, "frames of 16 bits"},
      {"apply remove-dummy f.raw o.png --width 64 --height 64", kBadOutput, "16-bit samples"},
      {"apply invert f.raw o.raw --width 64 --height 65", kBadFrame, "8192 bytes; a raw frame"},
      {"apply offset f.png o.png --mask f.raw", kBadFrame, "f.raw: 8192 bytes"},
      {"synth o.png --dead-line 65", kBadUsage, "the dead line does not fit"},
      {"synth o.png --salt-pepper 4000", kBadUsage, "there is room for"},
      {"synth o.png --dummy", kBadUsage, "--dummy goes with --bits 16"},
      {"synth o.png --width 0", kBadUsage, "--width"},
      {"synth none/o.png", kBadOutput, "none/o.png: cannot be written"},
  };
  for (const auto &c : cases) {
    const run_result r = run(c.arguments);
    EXPECT_EQ(r.status, c.status) << c.arguments;
    EXPECT_EQ(r.out, "") << c.arguments;
    EXPECT_THAT(r.err, HasSubstr(c.line)) << c.arguments;
    EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
  }
}

}  // namespace
