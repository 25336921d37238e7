// orva-fp image: verdicts on frames with known defects, formats, bad input.
#include <gtest/gtest.h>

#include "tool/tool_runner.h"

namespace {

// Shell functions:
// look OPTION...            the measures of a frame that synth makes with the options
// measure FILE OPTION...    those of a file
// grey NAME WIDTH HEIGHT LEVEL COUNT [LEVEL COUNT]...   writes a PGM of such stretches
// patch FILE AT BYTES       writes over bytes of a file; as printf, like all bytes here
// hex FILE                  the bytes of a file
const std::string kShell = R"(
im() { orva-fp image "$@"; }
measure() { im inspect --json "$@"; }
look() { im synth f.png "$@" >/dev/null && measure f.png; }
grey() {
  { printf "P5 $2 $3 255\n"; shift 3
    while [ $# -gt 0 ]; do head -c $2 /dev/zero | tr '\0' "\\$1"; shift 2; done; } >$1
}
patch() { printf "$3" | dd of=$1 bs=1 seek=$2 conv=notrunc status=none; }
hex() { od -An -v -tx1 "$1" | tr -d ' \n'; }
)";

void check(const std::vector<support::tool_case> &rows) { support::check_all(rows, kShell); }

TEST(ImageTool, VerdictsTurnWithTheDefect) {
  const std::string none =
      "\"max_run\": 0 ... \"run_x\": null ... \"clusters\": 0 ... "
      "\"defect_found\": 0 ... \"is_water\": 0 ... \"noise\": 0";
  check({
      {"look", 0, none},
      {"look --dead-line 25", 0,
          R"("low_count": 25 ... "max_run": 25 ... "run_length": 25 ... "run_x": 20, ...
 "run_y": 24 ... [
 1,
 0 ... "defect_found": 1 ... "is_water": 0)"},
      {"look --dead-line 19", 0, R"("max_run": 19 ... "defect_found": 0)"},
      {"look --dead-line 20 --dead-line-direction down-left --dead-line-at 40,5 "
       "--dead-line-level bright",
          0, R"("high_count": 20 ... "max_run": 20 ... "run_x": 40 ... "run_y": 5 ... [
 -1,
 1 ... "defect_found": 1)"},
      {"look --cluster 3", 0, R"("high_count": 9 ... "max_run": 20 ... "run_length": 3 ...
 "clusters": 1 ... "bright_clusters": 1 ... "dark_clusters": 0 ... "cluster_x": 48 ...
 "cluster_y": 48 ... "cluster_pixels": 9 ... "defect_found": 1)"},
      {"look --cluster 2 --cluster-level dark --cluster-at 5,5", 0,
          R"("clusters": 1 ... "bright_clusters": 0 ... "dark_clusters": 1)"},
      // Blocks that touch at a corner are one; dark ones beside bright ones are others.
      {"grey f.pgm 4 4 377 2 200 2 377 2 200 4 377 2 200 2 377 2; measure f.pgm", 0,
          R"("clusters": 1 ... "cluster_pixels": 8)"},
      {"grey f.pgm 4 2 377 2 0 2 377 2 0 2; measure f.pgm", 0,
          R"("clusters": 2 ... "bright_clusters": 1)"},
      {"look --water 21", 0, R"("is_water": 1 ... "dark_rows": 21 ... "dark_columns": 0 ...
 "dark_row_streak": 21)"},
      {"look --water 20", 0, R"("is_water": 0 ... "dark_rows": 20)"},
      {"look --water 21 --water-columns", 0,
          R"("is_water": 1 ... "dark_rows": 0 ... "dark_columns": 21)"},
      {"look --pattern flat --salt-pepper 3", 0,
          R"("strong_spikes": 3 ... "strong_spike_limit": 3 ... "noise": 0)"},
      {"look --pattern flat --salt-pepper 4", 0, R"("strong_spikes": 4 ... "noise": 1)"},
      {"look --pattern flat --salt-pepper 101", 0,
          R"("delta_spikes": 101 ... "noise": 3 ... "spikes_removed": 101)"},
      {"look --pattern flat --saturate 7", 0, R"("white_noise": null ... "high_count": 7)"},
      // Where nothing can be found, there is no verdict.
      {"look --width 19 --height 1", 0, R"("defect_found": null ... "noise": null)"},
      {"look --width 20 --height 1", 0, R"("defect_found": 0 ... "noise": null)"},
      {"look --width 3 --height 3", 0, R"("is_water": null ... "noise": 0)"},
      {"look --width 34 --height 22", 0, R"("is_water": 0)"},
      {"look --width 34 --height 21", 0, R"("is_water": null)"},
      {"look --width 22 --height 33", 0, R"("is_water": 0)"},
      {"look --width 33 --height 32", 0, R"("is_water": null)"},
      {"grey f.pgm 9 9 144 81; measure f.pgm; measure f.pgm --high 255 --low 0 --deviation 255", 0,
          R"("defect_found": 0 ... "otsu_threshold": null ... "defect_found": null)"},
  });
}

TEST(ImageTool, LargeFrameIsEvaluatedInTilesAsOne) {
  check({
      {"look --width 58 --height 76", 0, R"("tiles": 1,)"},
      {"look --width 300 --height 200 --pattern flat --dead-line 100 --dead-line-direction "
       "column --cluster 3",
          0, R"("tiles": 15 ... "high_count": 9 ... "low_count": 100 ...
 "deviation_count": 109 ... "max_run": 100 ... "clusters": 1 ... "defect_found": 1)"},
      {"look --width 4420 --height 2 --pattern flat --dead-line 19 --dead-line-at 4400,1", 0,
          R"("tiles": 4 ... "low_count": 19 ... "max_run": 19 ... "defect_found": 0)"},
      // Half of it is 75 below the frame's mean, and half 75 above.
      {"grey f.pgm 100 100 62 5000 310 5000; measure f.pgm --deviation 74; "
       "measure f.pgm --deviation 75",
          0, R"("eval_std_dev": 75.0 ... "deviation_count": 10000 ... "deviation_count": 0)"},
      // More than 32 bits hold of squares.
      {"grey f.pgm 600 600 0 180000 377 180000; measure f.pgm", 0, R"("std_dev": 127.49 ...
 "eval_std_dev": 127.50 ... "median_distance": 0)"},
  });
}

TEST(ImageTool, SamplesLoseTheBitsThatTheyDoNotUse) {
  const std::string small = "printf 'P5 2 1 1023\n\\1\\377\\3\\377' >s.pgm; ";
  const std::string uniform =
      "for i in 1 2 3 4; do printf '\\350\\3'; done >u.raw; measure u.raw "
      "--width 2 --height 2 --keep-dummy ";
  const std::string raw = "im synth f.raw --bits 16 --dummy --saturate ";
  const std::string sensor = "; measure f.raw --width 65 --height 65 --sample-bits 12";
  check({
      {small + "im apply reduce s.pgm o.raw; hex o.raw", 0, "7fff"},
      {small + "measure s.pgm --keep-dummy", 0,
          R"("bits": 16, ... "sample_bits": 10, ... "white_noise": null, ... "mean": 191)"},
      {small + "im apply reduce --sample-bits 8 s.pgm o.raw; hex o.raw; measure s.pgm "
               "--keep-dummy --sample-bits 9",
          0, R"(ffff[ ... "over_range": 1, ... "mean": 255)"},
      // A sensor's levels compare from frame to frame.
      {uniform + "--sample-bits 12", 0, R"("sample_bits": 12 ... "mean": 62 ...
 "defect_found": 0)"},
      {uniform, 0, R"("sample_bits": 16 ... "mean": 3 ... "low_count": 4)"},
      {raw + "99" + sensor, 0, R"("white_noise": 0, ... "saturated": 99, ... "over_range": 0)"},
      {raw + "100" + sensor, 0, R"("white_noise": 1)"},
      // 12 bits become the 8 they were made of, and only the dummy is missing.
      {raw + "9; im synth f.png --saturate 9; measure f.raw --width 65 --height 65 "
             "--sample-bits 12 | grep std_dev >a; measure f.png | grep std_dev | cmp - a"},
      {raw + "9" + sensor + " --keep-dummy", 0, R"("width": 65, ... "height": 65)"},
      {"im synth f.pgm --bits 16; head -c 15 f.pgm; measure f.pgm", 0,
          R"(P5
64 64
4095... "sample_bits": 12, ... "white_noise": null)"},
  });
}

TEST(ImageTool, EveryFormatAndPipeHoldsTheSameFrame) {
  check({
      // The width is no multiple of 4: rows of the BMP have fill bytes.
      {R"(size="--width 47 --height 31"; im synth a.raw $size >/dev/null
              im apply invert a.raw a.bmp $size && im apply invert a.bmp a.png &&
              im apply invert a.png a.pgm && im apply invert a.pgm b.raw && cmp a.raw b.raw)",
          0, ""},
      {R"(im synth - --as png 2>/dev/null | im apply invert invert - - | im inspect - --json |
              sed 2,3d >a; im synth f.png >/dev/null; measure f.png | sed 2,3d | cmp - a)",
          0, ""},
      {"im synth f.raw; mkfifo p; cat f.raw >p & measure p --raw --width 64 --height 64", 0,
          R"("file": "p")"},
      // A top-down BMP is stored upright.
      {R"(im synth f.bmp --width 4 --height 2 >/dev/null; head -c 1078 f.bmp >t.bmp
              tail -c 4 f.bmp >>t.bmp; tail -c 8 f.bmp | head -c 4 >>t.bmp
              patch t.bmp 22 '\376\377\377\377'
              im apply invert f.bmp a.pgm; im apply invert t.bmp b.pgm; cmp a.pgm b.pgm)",
          0, ""},
  });
}

TEST(ImageTool, FiltersTakeTheirParametersAndFollowOneAnother) {
  const std::string line =
      "printf 'P5 # levels\n4 1 255\n\\12\\24\\36\\50' >l.pgm; apply() { im "
      "apply \"$@\" l.pgm o.raw && hex o.raw; }; apply ";
  const std::string spike = "printf 'ddddd\\0012ddddd' >s.raw; im apply --width 4 --height 3 ";
  // Samples 0 to 11, stored as they are and column by column.
  const std::string samples =
      R"(for i in 0 1 2 3 4 5 6 7 10 11 12 13; do printf "\\$i\0"; done >s.raw
for i in 0 4 10 1 5 11 2 6 12 3 7 13; do printf "\\$i\0"; done >t.raw; im apply )";
  check({
      {line + "equalise", 0, "4080bfff"},
      {line + "equalise-white --white-percent 25", 0, "55aaff28"},
      {line + "offset", 0, "l.pgm: 10 subtracted\n000a141e"},
      {"printf '\\377\\0\\0\\0' >m.raw; " + line + "offset --mask m.raw", 0, "f6000a14"},
      {line + "flip --horizontal", 0, "281e140a"},
      {line + "invert flip invert --horizontal", 0, "281e140a"},
      {line + "offset equalise-white offset --white-percent 25", 0, "l.pgm: 10 subtracted ..."},
      {spike + "median s.raw o.raw; cat o.raw", 0, "dddddddddddd"},
      {spike + "remove-noise --delta 60 s.raw o.raw", 0, "s.raw: 0 pixels replaced\n"},
      {samples + "remove-dummy --width 4 --height 3 s.raw o.raw; hex o.raw", 0,
          "040005000700080009000b00"},
      {samples + "remove-dummy --transposed --width 3 --height 4 t.raw o.raw; hex o.raw", 0,
          "040005000700080009000b00"},
      {samples + "remove-dummy --transposed --keep --width 3 --height 4 t.raw o.pgm; hex o.pgm", 0,
          "50350a3420330a36353533350a000000010002"},
      {samples + "remove-dummy reduce invert --sample-bits 8 --width 4 --height 3 s.raw o.raw; "
                 "hex o.raw",
          0, "fbfaf8f7f6f4"},
      // A batch goes on after a bad frame, and writes over nothing.
      {R"((im synth a.png; im synth b.pgm) >/dev/null; mkdir c; cp a.png c
              im apply median invert a.png no.png b.pgm c/a.png --out o --as bmp)",
          6, "", "orva-fp: no.png: No such file ... c/a.png: another frame has the same name",
          "o/a.bmp=5174 o/b.bmp=5174"},
      {"im synth a.png >/dev/null; im apply invert a.png --out .", 6, "",
          "orva-fp: a.png: would be written over"},
  });
}

TEST(ImageTool, BadFrameIsNamedAndTheBatchGoesOn) {
  const struct {
    const char *make;  // from good.bmp and good.png
    const char *file;
    const char *reason;
  } frames[] = {
      {": >", "empty.png", "the file is empty"},
      {"echo no image >", "text.txt", "neither BMP nor PNG nor PGM; raw samples need --raw"},
      {"echo no image >", "text.png", "damaged: does not begin like a png"},
      {"head -c 40 good.bmp >", "header.bmp", "truncated: 40 bytes instead of 54"},
      {"head -c 1197 good.bmp >", "short.bmp", "truncated: 1197 bytes instead of 1198"},
      {"28 '\\30'", "colour.bmp", "a BMP of 24 bits per pixel, not 8"},
      {"30 '\\1'", "packed.bmp", "a compressed BMP"},
      {"58 '\\11'", "palette.bmp", "a BMP with a palette that is not grey"},
      {"18 '\\377\\377\\377\\177'", "wide.bmp", "2147483647 x 10 is more than the 8405024 pixels"},
      {"22 '\\0\\0\\0\\200'", "lowest.bmp", "10 x 2147483648 is more"},
      {"10 '\\32\\0'", "inside.bmp", "the BMP's pixels would begin inside its header"},
      {"head -c 99 good.png >", "short.png", "damaged PNG: "},
      {"70 'x'", "bit.png", "damaged PNG: invalid CRC"},
      {"printf 'P5 10 10 255\n123' >", "short.pgm", "truncated: 16 bytes instead of 113"},
      {"printf 'P5 1 1 255' >", "bare.pgm", "truncated: 10 bytes instead of 12"},
      {"printf 'P5 10 ten' >", "header.pgm", "damaged PGM: the header lacks a number"},
      {"printf 'P5 1 1 15\n1' >", "levels.pgm", "a PGM with levels to 15, not 255 to 65535"},
      {"printf 'P5 1 1 511\n\\2\\1' >", "over.pgm",
          "damaged PGM: a sample of 513 where 511 is the largest"},
      {"printf 'P5 99999999999 9 255\n' >", "huge.pgm",
          "99999999999 x 9 is more than the 8405024 pixels"},
      {"printf 'P5 1 2 65535\n1111' >", "dummy.pgm",
          "nothing is left without the T dummy; see --keep-dummy"},
      {"mkdir ", "folder.png", "Is a directory"},
  };
  std::string command =
      "im synth good.bmp --width 10 --height 10 >/dev/null; im synth good.png >a\n";
  std::string names, errors;
  for (const auto &[make, file, reason] : frames) {
    const std::string kind = std::string(file).substr(std::string(file).find('.'));
    const bool patched = make[0] >= '0' && make[0] <= '9';
    command += patched ? std::string("cp good") + kind + " " + file + "; patch " + file + " " + make
                       : std::string(make) + file;
    command += "\n";
    names += std::string(" ") + file;
    errors += std::string("\"") + file + "\", ... \"error\": \"" + file + ": " + reason + "...";
  }
  command += "measure good.bmp" + names +
             " none.png good.png --out o; status=$?; wc -l <stderr; exit $status";
  check({
      {command, 6,
          errors + R"("none.png: No such file ... "sheet": "o/good.png.sheet.png" ...)" +
              std::to_string(std::size(frames) + 1),
          "orva-fp: ", "o/good.bmp.sheet.png !o/text.txt.sheet.png"},
      {"echo abcd >t.txt; measure t.txt --width 5 --height 1", 6, "...", "raw samples need --raw"},
      {"echo abcd >t.txt; measure t.txt --raw --width 5 --height 1", 0, R"("mean": 80)"},
      {"echo abcd >t.bin; measure t.bin", 6, "...", "raw samples need --width and --height"},
      {"im inspect - -", 6, "", "orva-fp: standard input: the file is empty"},
  });
}

TEST(ImageTool, ReportsAndPicturesGoWithTheirFrames) {
  check({
      // A name is shown so that neither the terminal nor the columns suffer.
      {R"(im synth f.png >/dev/null; n=$(printf '\346\274\242\033\n\377'); cp f.png "$n.png"
              im inspect f.png "$n.png" none.png | sed 's/ .*64  64 .*//; s/  *width.*//')",
          0, "file\nf.png ... \xe6\xbc\xa2\\x1b\\n\\xff.png", "orva-fp: none.png: No such file"},
      {R"(im synth f.png >/dev/null; cp f.png 漢字.png; im inspect f.png 漢字.png |
              sed 's/漢字/1234/' | awk '{print length}' | uniq | wc -l)",
          0, "1\n"},
      {R"(im synth 'a,".png' >/dev/null; im inspect --csv a* none.png | sed 's/\r$//')", 0,
          "file,width,height,bits, ... ,sheet,panels,error\n\"a,\"\".png\",64,64,8,,,,, ... "
          "\"none.png\",,,, ... ,\"none.png: No such file or directory\"\n",
          "orva-fp: none.png"},
      // In the order of the frames, however many work on them.
      {R"(for i in 1 2 3 4 5 6 7 8 9; do im synth f$i.pgm --width 4$i --seed $i >/dev/null; done
              for i in 1 2 3 4 5 6 7 8 9; do im inspect --csv f$i.pgm | tail -n 1; done >a
              im inspect --csv f?.pgm | tail -n 9 | cmp - a)",
          0, ""},
      {R"(mkdir a; look >/dev/null; im synth a/f.png --cluster 2
              measure f.png a/f.png --out .; cmp f.png.sheet.png f.png-2.sheet.png)",
          1, R"("sheet": "./f.png.sheet.png" ... "sheet": "./f.png-2.sheet.png" ... differ)"},
      {"look >/dev/null; measure f.png --out . --panel marks --panel water; im inspect *.png", 0,
          R"("sheet": null, ... "./f.png.marks.png" ... "./f.png.water.png" ... f.png 64)",
          "orva-fp: f.png.marks.png: a sheet, not a frame; skipped",
          "f.png.marks.png f.png.water.png !f.png.sheet.png"},
      {"look >/dev/null; im diff f.png f.png --out d.png; im apply invert d.png o.png", 6,
          "B - A: mean +0.00, root mean square 0.00, 0 pixels differ, largest 0 at 0,0\n",
          "orva-fp: d.png: a sheet, not a frame"},
      {R"(mkdir u1 u2; im synth u1/fp_data.bin --pattern flat
              im synth u2/fp_data.bin --pattern flat --dead-line 4 --dead-line-level bright
              im diff u1 u2 --json --width 64 --height 64)",
          0, R"("a": { ... "file": "u1/fp_data.bin" ... "b": { ... "max_run": 4, ...
 "changed": 4, ... "largest_y": 24)"},
      {"look >/dev/null; im synth g.png --width 63; im diff f.png g.png", 6, "...",
          "orva-fp: g.png: 63 x 64 pixels, but f.png has 64 x 64"},
      {"im synth f.png --dead-line 3 --dead-line-at 1,2 --salt-pepper 1 --seed 9 --truth -", 0,
          R"("seed": 9, ... "kind": "dead line", ... "x": 1, ... "y": 2, ... "length": 3, ...
 "level": 0 ... "kind": "salt and pepper", ... "count": 1)",
          "f.png: 64 x 64, 8 bits"},
      // What is there stays until all of the new is written.
      {"im synth f.png >/dev/null; cp f.png old; (trap '' XFSZ; ulimit -f 1; im synth f.png "
       "--width 99 --height 99 --seed 3); cmp f.png old && ls -A | tr '\\n' ' '",
          0, "f.png old stderr stdout", "orva-fp: f.png: File too large"},
      {"look >/dev/null; im inspect f.png >/dev/full", 4, "",
          "orva-fp: standard output: No space left on device"},
  });
}

TEST(ImageTool, BadArgumentsAndOutputsGiveOneLineAndTheirStatus) {
  check({
      {"im inspect f.png --block 0", 2, "", "--block"},
      {"im inspect f.png --panel marks", 2, "", "--panel requires --out"},
      {"im inspect f.png --out o --panel none", 2, "", "none not in"},
      {"touch file; im inspect f.png --out file", 4, "", "output folder file: Not a directory"},
      {"im inspect f.png --out none/deep", 4, "", "output folder none/deep: No such file"},
      {"im apply blur f.png o.png", 2, "", "blur is no filter"},
      {"im apply flip f.png o.png", 2, "", "flip needs --vertical or --horizontal"},
      {"im apply invert --delta 3 f.png o.png", 2, "", "--delta goes with remove-noise"},
      {"im apply remove-dummy invert f.png o.png", 2, "", "invert takes frames of 8 bits"},
      {"im apply invert a.png b.png c.png", 2, "", "give IN and OUT, or frames and --out"},
      {"im apply median f.png o.jpg", 4, "", "o.jpg: the extension must be"},
      {"im synth f.png; im apply median f.png none/o.png", 4, "...", "none/o.png: No such file"},
      {"im apply median none.png o.png", 6, "", "none.png: No such file"},
      {"im synth f.raw --bits 16; im apply median f.raw o.png --width 64 --height 64", 6, "...",
          "median takes frames of 8 bits"},
      {"im synth f.png; im apply remove-dummy f.png o.raw", 6, "...", "frames of 16 bits"},
      {"im apply remove-dummy f.raw o.png", 4, "", "16-bit samples can be kept in"},
      {"im synth f.raw; im apply invert f.raw o.raw --width 64 --height 65", 6, "...",
          "4096 bytes; a raw frame of 64 x 65 has 4160 (8 bits) or 8320 (16 bits)"},
      {"im synth o.png --dead-line 65", 2, "", "the dead line does not fit"},
      {"im synth o.png --salt-pepper 4000", 2, "", "there is room for"},
      {"im synth o.png --cluster-at 3,3", 2, "", "--cluster-at requires --cluster"},
      {"im synth o.pgm --bits 16 --dummy --width 32767", 2, "", "pixels, or 32767 on a side"},
      {"im synth o.png --dummy", 2, "", "--dummy goes with --bits 16"},
      {"im synth none/o.png", 4, "", "none/o.png: No such file"},
  });
}

}  // namespace
